// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "explorermodel.h"

#include <QIcon>
#include <QLocale>
#include <QMap>

ExplorerModel::ExplorerModel(QObject *parent) : QAbstractItemModel(parent) { }

ExplorerModel::~ExplorerModel()
{
    qDeleteAll(m_objects);
}

QModelIndex ExplorerModel::index(int row, int column, const QModelIndex &parent) const
{
    if (!hasIndex(row, column, parent))
        return QModelIndex();
    return createIndex(row, column);
}

QModelIndex ExplorerModel::parent(const QModelIndex &) const
{
    return QModelIndex();
}

int ExplorerModel::rowCount(const QModelIndex &) const
{
    return int(m_objects.size());
}

int ExplorerModel::columnCount(const QModelIndex &) const
{
    return 3;
}

QVariant ExplorerModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return QVariant();
    CloudObject *object = m_objects.at(index.row());
    const QVariant pointer = QVariant::fromValue(object);

    switch (role) {
    case Qt::DisplayRole:
        switch (index.column()) {
        case 0:
            return object->fileName();
        case 1:
            return object->isFolder() ? QVariant() : bytesToHuman(double(object->bytes()));
        case 2:
            return QLocale::system().toString(object->lastModified(), QLocale::ShortFormat);
        default:
            return pointer;
        }
    case Qt::DecorationRole:
        if (index.column() == 0) {
            // The name alone decides, folders included.
            const QMimeType mime =
                    m_mimeDatabase.mimeTypeForFile(object->fileName(), QMimeDatabase::MatchDefault);
            return QIcon::fromTheme(mime.iconName());
        }
        return pointer; // Contract: the object, in columns 1 and 2
    case Qt::UserRole:
        return pointer;
    default:
        return QVariant();
    }
}

QVariant ExplorerModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return QVariant();
    switch (section) {
    case 0:
        return tr("Nom");
    case 1:
        return tr("Taille");
    case 2:
        //: Column header: the date and time of the last change.
        return tr("Dernière modification");
    default:
        return QVariant();
    }
}

CloudObject *ExplorerModel::getObject(QModelIndex index) const
{
    return m_objects.at(index.row());
}

CloudObject *ExplorerModel::getObject(int row) const
{
    return m_objects.at(row);
}

QString ExplorerModel::bytesToHuman(double bytes) const
{
    //: Size units, kB to YB: powers of 1024 bytes, written after a number with two decimals.
    const QMap<int, QString> units { { 0, tr("kB") }, { 1, tr("MB") }, { 2, tr("GB") },
                                     { 3, tr("TB") }, { 4, tr("PB") }, { 5, tr("EB") },
                                     { 6, tr("ZB") }, { 7, tr("YB") } };
    const QLocale locale;
    if (bytes < 1024.0)
        //: A size under 1024 bytes; %1 is the number, always with two decimals ("512.00").
        return tr("%1 Octets").arg(locale.toString(bytes, 'f', 2));

    double value = bytes / 1024;
    int unit = 0;
    while (value >= 1024.0 && unit < 8) {
        value /= 1024;
        ++unit;
    }
    return QStringLiteral("%1 %2").arg(locale.toString(value, 'f', 2),
                                       //: In place of a size unit, from 1024 YB up.
                                       units.value(unit, tr("Inconnu")));
}

void ExplorerModel::onUpdateObjects(QList<CloudObject *> objects)
{
    // Contract: the objects of the listing replaced are not deleted; those of the last one go
    // with the model.
    if (rowCount() > 0) {
        beginRemoveRows(QModelIndex(), 0, rowCount() - 1);
        m_objects.clear();
        endRemoveRows();
    }
    if (!objects.isEmpty()) {
        beginInsertRows(QModelIndex(), 0, int(objects.size()) - 1);
        m_objects = objects;
        endInsertRows();
    }
    // Also for an empty listing, whose bottom-right index then has row -1.
    emit dataChanged(createIndex(0, 0), createIndex(rowCount() - 1, columnCount() - 1), {});
}
