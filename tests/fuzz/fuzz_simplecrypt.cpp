// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

// Decrypting whatever a settings file may hold: bytes and their base64 text form.
#include "simplecrypt.h"

#include <QString>

namespace {
QtMessageHandler passOn = nullptr;

// Damaged input is all this target reads: the warnings that the cipher and qUncompress give for
// it are expected, and writing them would cost more than the decryption. Anything else passes on.
void dropExpectedWarnings(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    const bool expected = type == QtWarningMsg
            && (text == QLatin1String("Invalid version or not a cyphertext.")
                || text.startsWith(QLatin1String("qUncompress: ")));
    if (!expected)
        passOn(type, context, text);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static SimpleCrypt crypt(Q_UINT64_C(0x0c2ad4a4acb9f023));
    if (!passOn)
        passOn = qInstallMessageHandler(dropExpectedWarnings);
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    crypt.decryptToByteArray(bytes);
    crypt.decryptToString(QString::fromLatin1(bytes));
    crypt.decryptToString(bytes);
    return 0;
}
