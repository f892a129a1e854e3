// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef LISTINGCOLLECTOR_H
#define LISTINGCOLLECTOR_H

#include "cloudobject.h"

#include <QObject>

// Takes a folder listing from a cloud file's objectList signal, and the objects with it.
class ListingCollector : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;
    ~ListingCollector() override { qDeleteAll(m_objects); }

    QList<CloudObject *> objects() const { return m_objects; }

public slots:
    void collect(QList<CloudObject *> objects)
    {
        qDeleteAll(m_objects);
        m_objects = objects;
    }

private:
    QList<CloudObject *> m_objects;
};

#endif // LISTINGCOLLECTOR_H
