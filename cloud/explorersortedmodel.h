// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef EXPLORERSORTEDMODEL_H
#define EXPLORERSORTEDMODEL_H

#include <QList>
#include <QSortFilterProxyModel>
#include <QString>

#include <functional>

// Between the explorer model and its view: hides dot-files unless asked, shows every folder
// and the files that match one of the wildcard patterns, and orders folders and files by name.
class ExplorerSortedModel : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    explicit ExplorerSortedModel(QObject *parent = nullptr);

    bool showHiddenFiles();
    QList<QString> &filterList();

public slots:
    void setShowHiddenFiles(bool show);
    void setFilterList(QList<QString> filters);

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;
    // Inverted on purpose: the view starts sorted descending, which shows folders first and
    // names from A to Z.
    bool lessThan(const QModelIndex &left, const QModelIndex &right) const override;

private:
    void changeFilter(const std::function<void()> &change);

    bool m_showHiddenFiles;
    QList<QString> m_filterList;
};

#endif // EXPLORERSORTEDMODEL_H
