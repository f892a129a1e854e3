// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

// Decrypting whatever a settings file may hold: bytes and their base64 text form.
#include "simplecrypt.h"

#include <QString>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static SimpleCrypt crypt(Q_UINT64_C(0x0c2ad4a4acb9f023));
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    crypt.decryptToByteArray(bytes);
    crypt.decryptToString(QString::fromLatin1(bytes));
    crypt.decryptToString(bytes);
    return 0;
}
