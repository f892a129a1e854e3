// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef PROBEDFILE_H
#define PROBEDFILE_H

#include "googlefile.h"

// A Drive file whose buffer a test can look at.
class ProbedFile : public GoogleFile
{
public:
    ProbedFile(OAuthGoogle *oauth, const QString &url)
        : GoogleFile(QStringLiteral("gdapp"), oauth, QUrl(url), nullptr)
    {
    }
    QByteArray buffer() const { return m_buffer; }
};

#endif // PROBEDFILE_H
