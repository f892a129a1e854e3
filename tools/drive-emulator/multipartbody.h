// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef MULTIPARTBODY_H
#define MULTIPARTBODY_H

#include "httprequest.h"

// A multipart/related upload body: the metadata part and the media part, with CRLF or bare LF
// line ends and any boundary.
class MultipartBody
{
public:
    struct Part
    {
        HttpHeaders headers;
        QByteArray body;
        QByteArray header(const QByteArray &name) const { return headerValue(headers, name); }
    };

    // Takes the body over: the media part becomes a slice of it, not a copy.
    bool parse(QByteArray body, const QByteArray &boundary);
    // Where it begins in a body of which only prefix has arrived; -1 until that can be told.
    static qsizetype mediaOffsetIn(const QByteArray &prefix, const QByteArray &boundary);
    QString errorString() const { return m_error; }
    const Part &metadata() const { return m_metadata; }
    const Part &media() const { return m_media; }

private:
    bool fail(const QString &why);
    bool readHeaders(const QByteArray &body, qsizetype &pos, Part &part);
    // Everything up to the media part's content, which starts at *pos.
    bool parseHead(const QByteArray &body, const QByteArray &delimiter, qsizetype *pos);

    Part m_metadata;
    Part m_media;
    bool m_crlf = false;
    QString m_error;
};

#endif // MULTIPARTBODY_H
