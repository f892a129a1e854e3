// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef CLOUDFILEDIALOG_H
#define CLOUDFILEDIALOG_H

#include "explorersortedmodel.h"
#include "ui_cloudfiledialog.h"

#include <QDialog>
#include <QUrl>

class CloudFile;
class CloudObject;
class ExplorerModel;

// The pattern that takes the patterns out of a filter entry such as "Textes (*.txt *.csv)".
extern const char *file_dialog_filter_reg_exp;

// The modal chooser of a remote file to open, or of a folder and a name to save under, over
// the store of one cloud file. Its texts are French.
class CloudFileDialog : public QDialog, private Ui_CloudFileDialog
{
    Q_OBJECT

public:
    CloudFileDialog(QString filter, bool save, CloudFile *file, QWidget *parent,
                    Qt::WindowFlags flags);
    ~CloudFileDialog() override;

    QUrl selectedFile();
    // "A (*.a);;B (*.b)" or one entry per line: the entries of the filter box.
    QStringList makeFiltersList(const QString &filter);
    // The wildcard patterns of one entry.
    QStringList cleanFilterList(const QString &filter);

public slots:
    void onViewRefresh();
    void onCdUp();
    void onClicked(const QModelIndex &index);
    void onDoubleClicked(const QModelIndex &index);
    void onFilterChanged(const QString &text);
    void onMkDir();
    void accept() override;
    void slotContextMenu(const QPoint &point);
    void slotRmDir();

private:
    CloudFile *m_file;
    CloudObject *m_current;
    ExplorerModel *m_model;
    ExplorerSortedModel m_proxy;
    QUrl m_selectedFile;
    QString m_filter;
    bool m_save;
    QAction *m_removeAction;
};

#endif // CLOUDFILEDIALOG_H
