// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

// Upload bodies: the first line of the input is the boundary, the rest the body.
#include "multipartbody.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(data), qsizetype(size));
    const qsizetype newline = input.indexOf('\n');
    const QByteArray boundary = newline < 0 ? QByteArray("b") : input.left(newline);
    MultipartBody body;
    if (body.parse(newline < 0 ? input : input.mid(newline + 1), boundary)) {
        body.metadata().header("Content-Type");
        body.media().header("Content-Type");
    }
    return 0;
}
