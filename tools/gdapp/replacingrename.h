// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef REPLACINGRENAME_H
#define REPLACINGRENAME_H

#include "outcome.h"
#include "remoteurl.h"

#include <QString>

class CloudFile;
class CloudObject;
class Reporter;

// A rename onto an existing file that loses nothing when it fails. The plug-in's rename removes
// an existing destination before it renames, so a rename that then failed would cost the user
// that file. Instead, the destination is first renamed aside, to a free name of gdapp's own in
// the same folder (a rename onto a free name removes nothing); the source then takes the
// destination's name, and the file set aside is removed last. When the source's rename fails,
// the file set aside gets its name back; when even that fails, the message says where it is.
//
// An exchange can fail after the service has done what was asked: after each failure, lookups
// tell what happened before anything else is done.
class ReplacingRename
{
public:
    // The entry at to, replaced, is not the source itself.
    ReplacingRename(CloudFile &file, const Reporter &reporter, const RemoteUrl &from,
                    const QString &sourceId, const RemoteUrl &to, const CloudObject &replaced);

    Outcome run();

private:
    // Where the replaced file is: at the destination, set aside, or it cannot be told.
    enum class Place { Destination, Aside, Unknown };

    Outcome chooseAside();
    Outcome renameSource();
    Outcome removeReplaced();
    // Keeps why the step just tried failed, before lookups tell what happened.
    void keepFailure();
    // That failure, about what, and what it left.
    Outcome fail(const QString &what, const QString &outcome) const;
    // The identifier at url: empty when there is nothing; false when the lookup failed.
    bool idAt(const RemoteUrl &url, QString *id) const;
    Place placeOfReplaced() const;

    CloudFile &m_file;
    const Reporter &m_reporter;
    RemoteUrl m_from;
    QString m_sourceId;
    RemoteUrl m_to;
    const CloudObject &m_replaced;
    RemoteUrl m_aside;
    Outcome m_failure; // why the last step failed
};

#endif // REPLACINGRENAME_H
