// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef CLOUDFILECHOOSER_H
#define CLOUDFILECHOOSER_H

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

class CloudFile;
class QDialog;
class QWidget;

// Runs the chooser of a cloud file and answers the file the user meant.
//
// The chooser answers a double-clicked file with a path that names the file twice and has lost
// its folder, gdapp:/a.txt/a.txt for the a.txt of /Docs, as hosts have always received it. So
// this watches the chooser while it runs: when a double-click closes it, the file meant is the
// folder it was showing (its label "path", which the double-click leaves as it was) joined with
// the answer's last name, which carries the extension added in save mode. Any other answer, a
// click and OK or a name typed with folders in it, names the file as it stands.
//
//     const QUrl url = CloudFileChooser::getOpenFileName(file, this, tr("Open"), QString(),
//     filter);
//
// A host-side helper: it finds the chooser by its class name and its widgets by the names its
// layout gives them, so it works with the chooser of whichever copy of the framework shows it.
class CloudFileChooser : public QObject
{
public:
    // As file's getOpenFileName() and getSaveFileName(): an empty URL when the user cancelled.
    static QUrl getOpenFileName(CloudFile *file, QWidget *parent, const QString &caption,
                                const QString &dir, const QString &filter);
    static QUrl getSaveFileName(CloudFile *file, QWidget *parent, const QString &caption,
                                const QString &dir, const QString &filter);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    CloudFileChooser();

    void watch(QDialog *chooser);
    void noteDoubleClick();
    QUrl fileMeant(const QUrl &answer) const;

    QPointer<QDialog> m_chooser;
    QString m_doubleClickFolder; // the folder shown when a double-click closed the chooser
};

#endif // CLOUDFILECHOOSER_H
