// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "chooserdriving.h"

#include "cloudobject.h"

#include <QDialogButtonBox>
#include <QPushButton>
#include <QTreeView>

namespace {
std::unique_ptr<QObject> g_pollers;
QtMessageHandler g_testHandler = nullptr;

void dropNoise(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (text.contains(QLatin1String("(sender name:"))
        || text.contains(QLatin1String("(receiver name:"))
        || text.contains(QLatin1String("This plugin does not support")))
        return;
    g_testHandler(type, context, text);
}
} // namespace

QObject *pollers()
{
    if (!g_pollers)
        g_pollers = std::make_unique<QObject>();
    return g_pollers.get();
}

void endPolling()
{
    g_pollers.reset();
}

void expectRefusedConnection()
{
    QTest::ignoreMessage(
            QtWarningMsg,
            QRegularExpression(QStringLiteral("No such signal QComboBox::currentIndexChanged")));
}

void dropChooserNoise()
{
    g_testHandler = qInstallMessageHandler(dropNoise);
}

QStringList shown(const QAbstractItemModel *model)
{
    QStringList names;
    for (int row = 0; row < model->rowCount(); ++row) {
        const auto *object = model->index(row, 0).data(Qt::UserRole).value<CloudObject *>();
        names.append(object->fileName() + (object->isFolder() ? QStringLiteral("/") : QString()));
    }
    return names;
}

QTreeView *treeOf(QWidget *dialog)
{
    return child<QTreeView>(dialog, "treeView");
}

QModelIndex rowNamed(QWidget *dialog, const QString &name)
{
    const QAbstractItemModel *model = treeOf(dialog)->model();
    for (int row = 0; row < model->rowCount(); ++row) {
        if (model->index(row, 0).data().toString() == name)
            return model->index(row, 0);
    }
    return QModelIndex();
}

void clickRow(QWidget *dialog, const QString &name)
{
    QTreeView *tree = treeOf(dialog);
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {},
                      tree->visualRect(rowNamed(dialog, name)).center());
}

void doubleClickRow(QWidget *dialog, const QString &name)
{
    clickRow(dialog, name);
    QTreeView *tree = treeOf(dialog);
    QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {},
                       tree->visualRect(rowNamed(dialog, name)).center());
}

void clickOk(QWidget *dialog)
{
    child<QDialogButtonBox>(dialog, "buttonBox")->button(QDialogButtonBox::Ok)->click();
}
