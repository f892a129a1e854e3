// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "chosenfile.h"

#include "cloudcodes.h"
#include "cloudfile.h"

#include <memory>

QUrl ChosenFile::resolve(CloudFile *store, const QUrl &chosen)
{
    const QString path = chosen.path();
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    const QString name = path.mid(slash + 1);
    const QString folder = path.left(slash);
    if (slash <= 0 || name.isEmpty() || !folder.endsWith(QLatin1Char('/') + name))
        return chosen;

    QUrl once = chosen;
    once.setPath(folder);
    int status = Cloud::NothingFound;
    const std::unique_ptr<CloudObject> object(store->getObjectFromPath(once, status));
    if (status == Cloud::PathFound && object && !object->isFolder())
        return once;
    return chosen;
}
