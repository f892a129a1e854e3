// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "cloudfilechooser.h"

#include "cloudfile.h"

#include <QAbstractItemView>
#include <QCoreApplication>
#include <QDialog>
#include <QEvent>
#include <QLabel>

namespace {
// The chooser's class, and the names that its layout gives the widgets read here.
const char ChooserClass[] = "CloudFileDialog";
const QLatin1String ListingName("treeView");
const QLatin1String FolderLabelName("path");
} // namespace

CloudFileChooser::CloudFileChooser()
{
    // The chooser is made and shown inside the file's call: only the application sees it come.
    QCoreApplication::instance()->installEventFilter(this);
}

QUrl CloudFileChooser::getOpenFileName(CloudFile *file, QWidget *parent, const QString &caption,
                                       const QString &dir, const QString &filter)
{
    CloudFileChooser chooser;
    return chooser.fileMeant(file->getOpenFileName(parent, caption, dir, filter));
}

QUrl CloudFileChooser::getSaveFileName(CloudFile *file, QWidget *parent, const QString &caption,
                                       const QString &dir, const QString &filter)
{
    CloudFileChooser chooser;
    return chooser.fileMeant(file->getSaveFileName(parent, caption, dir, filter));
}

bool CloudFileChooser::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Show && watched != m_chooser && watched->inherits(ChooserClass)) {
        if (auto *chooser = qobject_cast<QDialog *>(watched))
            watch(chooser);
    }
    return false;
}

void CloudFileChooser::watch(QDialog *chooser)
{
    m_chooser = chooser;
    // Connected after the chooser's own handler, so it runs once the chooser has answered.
    if (const auto *listing = chooser->findChild<QAbstractItemView *>(ListingName))
        connect(listing, &QAbstractItemView::doubleClicked, this,
                &CloudFileChooser::noteDoubleClick);
}

void CloudFileChooser::noteDoubleClick()
{
    // A double-clicked file has accepted the chooser; a double-clicked folder leaves it open.
    if (!m_chooser || m_chooser->result() != QDialog::Accepted)
        return;
    if (const auto *folder = m_chooser->findChild<QLabel *>(FolderLabelName))
        m_doubleClickFolder = folder->text();
}

QUrl CloudFileChooser::fileMeant(const QUrl &answer) const
{
    if (answer.isEmpty() || m_doubleClickFolder.isEmpty())
        return answer;
    QString path = m_doubleClickFolder;
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    path += answer.path(QUrl::FullyDecoded).section(QLatin1Char('/'), -1);
    QUrl meant = answer;
    meant.setPath(path, QUrl::DecodedMode);
    return meant;
}
