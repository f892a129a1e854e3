// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef EXPLORERMODEL_H
#define EXPLORERMODEL_H

#include "cloudobject.h"

#include <QAbstractItemModel>
#include <QFileIconProvider>
#include <QMimeDatabase>

// The entries of one remote folder in three columns: name, size, last modification. Flat:
// every row lives under the root index. Each row's object is reachable under Qt::UserRole.
class ExplorerModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    explicit ExplorerModel(QObject *parent = nullptr);
    // Deletes the objects of the listing it holds.
    ~ExplorerModel() override;

    QModelIndex index(int row, int column,
                      const QModelIndex &parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex &index) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

    CloudObject *getObject(QModelIndex index) const;
    CloudObject *getObject(int row) const;
    QString bytesToHuman(double bytes) const;

public slots:
    // Shows a new listing. The objects of the listing it replaces are not deleted: they stay
    // with whoever made them.
    void onUpdateObjects(QList<CloudObject *> objects);

private:
    QList<CloudObject *> m_objects;
    QFileIconProvider m_iconProvider;
    QMimeDatabase m_mimeDatabase;
};

#endif // EXPLORERMODEL_H
