// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "explorersortedmodel.h"

#include "cloudobject.h"

#include <QRegularExpression>

namespace {
CloudObject *objectAt(const QModelIndex &index)
{
    return index.model()->data(index, Qt::UserRole).value<CloudObject *>();
}
} // namespace

ExplorerSortedModel::ExplorerSortedModel(QObject *parent)
    : QSortFilterProxyModel(parent), m_showHiddenFiles(false)
{
}

bool ExplorerSortedModel::showHiddenFiles()
{
    return m_showHiddenFiles;
}

QList<QString> &ExplorerSortedModel::filterList()
{
    return m_filterList;
}

// Re-filters rows and columns around a change of the settings.
void ExplorerSortedModel::changeFilter(const std::function<void()> &change)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 10, 0)
    beginFilterChange();
    change();
    endFilterChange(QSortFilterProxyModel::Direction::Both);
#else
    change();
    invalidateFilter();
#endif
}

void ExplorerSortedModel::setShowHiddenFiles(bool show)
{
    changeFilter([this, show] { m_showHiddenFiles = show; });
}

void ExplorerSortedModel::setFilterList(QList<QString> filters)
{
    changeFilter([this, &filters] { m_filterList = filters; });
}

bool ExplorerSortedModel::filterAcceptsRow(int sourceRow, const QModelIndex &) const
{
    const QModelIndex index = sourceModel()->index(sourceRow, 0, QModelIndex());
    const CloudObject *object = objectAt(index);
    const QString name = object->fileName();
    // Hidden entries go first, folders included.
    if (!m_showHiddenFiles && name.startsWith(QLatin1Char('.')))
        return false;
    if (object->isFolder())
        return true;
    for (const QString &pattern : m_filterList) {
        const QRegularExpression wildcard(QRegularExpression::wildcardToRegularExpression(pattern));
        if (wildcard.match(name).hasMatch())
            return true;
    }
    return false;
}

// Contract: inverted, so that with the header's initial descending indicator folders come first
// and names run A to Z.
bool ExplorerSortedModel::lessThan(const QModelIndex &left, const QModelIndex &right) const
{
    const CloudObject *l = objectAt(left);
    const CloudObject *r = objectAt(right);
    if (l->isFolder() && !r->isFolder())
        return false;
    if (!l->isFolder() && r->isFolder())
        return true;
    return l->fileName().compare(r->fileName(), Qt::CaseInsensitive) > 0;
}
