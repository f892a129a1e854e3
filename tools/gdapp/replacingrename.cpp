// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "replacingrename.h"

#include "cloudcodes.h"
#include "cloudfile.h"
#include "cloudfileerror.h"
#include "reporter.h"

#include <QRandomGenerator>

#include <memory>

namespace {
// The name rules accept it, and with its random part no user's file has it; a lookup makes sure.
const QString AsidePrefix = QStringLiteral(".gdapp-replaced-");
constexpr int NameAttempts = 3;
} // namespace

ReplacingRename::ReplacingRename(CloudFile &file, const Reporter &reporter, const RemoteUrl &from,
                                 const QString &sourceId, const RemoteUrl &to,
                                 const CloudObject &replaced)
    : m_file(file),
      m_reporter(reporter),
      m_from(from),
      m_sourceId(sourceId),
      m_to(to),
      m_replaced(replaced)
{
}

Outcome ReplacingRename::run()
{
    if (const Outcome chosen = chooseAside(); !chosen.isDone())
        return chosen;
    if (!m_file.rename(m_to.url(), m_aside.url())) {
        keepFailure();
        switch (placeOfReplaced()) {
        case Place::Destination:
            return fail(m_from.toString(), QStringLiteral("%1 is as it was").arg(m_to.toString()));
        case Place::Unknown:
            return fail(m_from.toString(),
                        QStringLiteral("%1 is either as it was or at %2")
                                .arg(m_to.toString(), m_aside.toString()));
        case Place::Aside:
            break; // the service renamed it all the same
        }
    }
    return renameSource();
}

Outcome ReplacingRename::chooseAside()
{
    for (int attempt = 0; attempt < NameAttempts; ++attempt) {
        m_aside = m_to.sibling(AsidePrefix
                               + QString::number(QRandomGenerator::global()->generate64(), 16));
        QString id;
        if (!idAt(m_aside, &id))
            return m_reporter.failure(m_aside.toString(), m_file);
        if (id.isEmpty())
            return Outcome();
    }
    return Outcome::failure(
            QStringLiteral("no free name was found to set %1 aside").arg(m_to.toString()));
}

Outcome ReplacingRename::renameSource()
{
    if (m_file.rename(m_from.url(), m_to.url()))
        return removeReplaced();
    keepFailure();
    const QString aside =
            QStringLiteral("the old %1 is now %2").arg(m_to.toString(), m_aside.toString());
    QString atDestination;
    if (!idAt(m_to, &atDestination))
        return fail(m_from.toString(), aside);
    if (atDestination == m_sourceId)
        return removeReplaced(); // the service renamed it all the same
    // Nothing there: the name can go back. Anything else the plug-in would remove first.
    if (!atDestination.isEmpty())
        return fail(m_from.toString(), aside);
    if (m_file.rename(m_aside.url(), m_to.url()) || placeOfReplaced() == Place::Destination)
        return fail(m_from.toString(), QStringLiteral("%1 is as it was").arg(m_to.toString()));
    return fail(m_from.toString(),
                aside
                        + QStringLiteral(" (gdapp mv \"%1\" \"%2\" puts it back)")
                                  .arg(m_aside.toString(), m_to.toString()));
}

Outcome ReplacingRename::removeReplaced()
{
    if (m_file.remove(&m_replaced))
        return Outcome();
    keepFailure();
    QString left;
    if (idAt(m_aside, &left) && left.isEmpty())
        return Outcome(); // the service removed it all the same
    return fail(QStringLiteral("%1 is now %2, but the file it replaced could not be removed")
                        .arg(m_from.toString(), m_to.toString()),
                QStringLiteral("it is at %1 (gdapp rm \"%1\" removes it)").arg(m_aside.toString()));
}

void ReplacingRename::keepFailure()
{
    m_failure = m_reporter.error(m_file);
}

Outcome ReplacingRename::fail(const QString &what, const QString &outcome) const
{
    return Outcome(m_failure.code(),
                   QStringLiteral("%1: %2; %3").arg(what, m_failure.message(), outcome));
}

bool ReplacingRename::idAt(const RemoteUrl &url, QString *id) const
{
    int status = Cloud::NothingFound;
    const std::unique_ptr<CloudObject> object(m_file.getObjectFromPath(url.url(), status));
    *id = status == Cloud::PathFound ? object->id() : QString();
    return status == Cloud::PathFound || CloudFileError(m_file).isNotFound();
}

ReplacingRename::Place ReplacingRename::placeOfReplaced() const
{
    const QString replaced = m_replaced.id();
    QString id;
    if (idAt(m_aside, &id) && id == replaced)
        return Place::Aside;
    if (idAt(m_to, &id) && id == replaced)
        return Place::Destination;
    return Place::Unknown;
}
