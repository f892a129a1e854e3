// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef DRIVEQUERY_H
#define DRIVEQUERY_H

#include <QString>

#include <functional>

struct DriveEntry;

// The "q" search language, the part of it that the emulator serves:
//   'ID' in parents
//   name = | != | contains 'text'
//   mimeType = | != | contains 'text'
//   trashed = | != true | false
// combined with and, or, not and parentheses. Strings are single- or double-quoted, with
// backslash escapes. Anything else is rejected, as the service rejects it.
class DriveQuery
{
public:
    // An empty text matches everything.
    static DriveQuery parse(const QString &text);

    bool isValid() const { return bool(m_matches); }
    bool matches(const DriveEntry &entry) const { return m_matches && m_matches(entry); }

    using Predicate = std::function<bool(const DriveEntry &)>;

private:
    Predicate m_matches; // empty when the text is not a query
};

#endif // DRIVEQUERY_H
