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
        QByteArray header(const QByteArray &name) const;
    };

    // Takes the body over: the media part becomes a slice of it, not a copy.
    bool parse(QByteArray body, const QByteArray &boundary);
    QString errorString() const { return m_error; }
    const Part &metadata() const { return m_metadata; }
    const Part &media() const { return m_media; }

private:
    bool fail(const QString &why);
    bool readHeaders(const QByteArray &body, qsizetype &pos, Part &part);

    Part m_metadata;
    Part m_media;
    bool m_crlf = false;
    QString m_error;
};

#endif // MULTIPARTBODY_H
