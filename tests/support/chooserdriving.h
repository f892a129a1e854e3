// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef CHOOSERDRIVING_H
#define CHOOSERDRIVING_H

#include <QApplication>
#include <QDeadlineTimer>
#include <QModelIndex>
#include <QTimer>
#include <QWidget>
#include <QtTest>

#include <functional>
#include <memory>

class QTreeView;

// The chooser driven as a person drives it, by the names its layout gives its widgets, from a
// test that a modal loop blocks.

// The parent of the pollers that whenShown() starts; endPolling(), in each test's cleanup, ends
// those still running.
QObject *pollers();
void endPolling();

// Runs act on the first visible top-level widget of type T once one shows up, such as a modal
// dialog that blocks the test in its own event loop.
template<typename T>
void whenShown(std::function<void(T *)> act)
{
    auto *poll = new QTimer(pollers());
    const auto deadline = std::make_shared<QDeadlineTimer>(20000);
    QObject::connect(poll, &QTimer::timeout, [poll, deadline, act] {
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            auto *found = qobject_cast<T *>(widget);
            if (found && found->isVisible()) {
                poll->stop();
                poll->deleteLater();
                act(found);
                return;
            }
        }
        if (deadline->hasExpired()) {
            poll->stop();
            poll->deleteLater();
            QTest::qFail("nothing of the expected kind appeared", __FILE__, __LINE__);
            // Let the test go on to its end rather than wait in a dialog for ever.
            if (QWidget *modal = QApplication::activeModalWidget())
                modal->close();
        }
    });
    poll->start(10);
}

template<typename T>
T *child(QWidget *dialog, const char *name)
{
    return dialog->findChild<T *>(QLatin1String(name));
}

// Every chooser warns, in three lines, that the connection of its filter box is refused, and the
// offscreen platform adds a notice. expectRefusedConnection() expects the first line of the next
// chooser; dropChooserNoise(), once in a test program, drops the others and the notice.
void expectRefusedConnection();
void dropChooserNoise();

// The names a view's model shows, in its order, folders marked with a trailing slash.
QStringList shown(const QAbstractItemModel *model);

QTreeView *treeOf(QWidget *dialog);
QModelIndex rowNamed(QWidget *dialog, const QString &name);
void clickRow(QWidget *dialog, const QString &name);
// A click, then a double-click, as a person's double-click reaches the view.
void doubleClickRow(QWidget *dialog, const QString &name);
void clickOk(QWidget *dialog);

#endif // CHOOSERDRIVING_H
