// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

// Token requests: bodies of any shape and type to the token endpoint, with a valid refresh
// token and authorization code on offer so that the grant paths are reached too.
#include "drivejournal.h"
#include "httprequest.h"
#include "oauthservice.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static DriveJournal journal;
    static OAuthService service(journal,
                                { QStringLiteral("client"), QStringLiteral("secret"), true, 3599 });
    if (size == 0)
        return 0;
    HttpRequest request;
    request.method = "POST";
    request.target = request.path = "/o/oauth2/token";
    static const char *const types[] = { "application/x-www-form-urlencoded", "application/json",
                                         "text/plain", "" };
    request.headers.append(qMakePair(QByteArray("Content-Type"), QByteArray(types[data[0] % 4])));
    request.body = QByteArray(reinterpret_cast<const char *>(data) + 1, qsizetype(size - 1));
    service.token(request);
    return 0;
}
