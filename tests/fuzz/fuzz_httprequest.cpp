// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

// Every byte a client sends goes through the emulator's request parser: the input is fed in
// pieces whose sizes the first byte chooses, as a socket would deliver it, with bodies of known
// length written straight into their buffers as the connection does.
#include "httprequestparser.h"

#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const qsizetype piece = data[0] % 64 + 1;
    const QByteArray input(reinterpret_cast<const char *>(data) + 1, qsizetype(size) - 1);
    HttpRequestParser parser(1024 * 1024);
    for (qsizetype at = 0; at < input.size();) {
        qsizetype take = qMin(piece, input.size() - at);
        const qint64 room = parser.bodyRoom();
        if (room > 0) {
            take = qMin<qsizetype>(take, room);
            memcpy(parser.bodyEnd(), input.constData() + at, size_t(take));
            parser.bodyWritten(take);
        } else {
            parser.append(input.mid(at, take));
        }
        at += take;
        for (;;) {
            const HttpRequestParser::Progress progress = parser.parse();
            if (progress == HttpRequestParser::Failed)
                return 0;
            if (progress == HttpRequestParser::NeedMore)
                break;
            if (progress == HttpRequestParser::Complete) {
                const HttpRequest request = parser.takeRequest();
                request.query.value(QStringLiteral("q"));
                request.mediaType();
            }
        }
    }
    return 0;
}
