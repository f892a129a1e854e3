// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "authoriseddrive.h"
#include "chooserdriving.h"
#include "cloudfilechooser.h"
#include "cloudfiledialog.h"
#include "googlefile.h"
#include "memorycloudfile.h"

#include <QLineEdit>
#include <QToolButton>
#include <QtTest>

namespace {
const QStringList Files = { "/a.txt", "/D/a.txt", "/D/readme.md", "/D/sub/b.txt",
                            "/same.txt/same.txt" };

// Carries out steps such as "click D", "double-click a.txt", "up", "type sub/new.txt" and "ok"
// in the chooser, as a person would.
void perform(CloudFileDialog *chooser, const QStringList &steps)
{
    for (const QString &step : steps) {
        const QString action = step.section(QLatin1Char(' '), 0, 0);
        const QString operand = step.section(QLatin1Char(' '), 1);
        if (action == QLatin1String("click"))
            clickRow(chooser, operand);
        else if (action == QLatin1String("double-click"))
            doubleClickRow(chooser, operand);
        else if (action == QLatin1String("up"))
            child<QToolButton>(chooser, "cdToParent")->click();
        else if (action == QLatin1String("type"))
            child<QLineEdit>(chooser, "nameEdit")->setText(operand);
        else
            clickOk(chooser);
    }
}
} // namespace

// What hosts get from the chooser through CloudFileChooser: the file the user meant, however
// it was chosen.
class TestCloudFileChooser : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void answersTheFileMeant_data();
    void answersTheFileMeant();

private:
    AuthorisedDrive m_drive;
    QSharedPointer<MemoryStore> m_memory;
};

void TestCloudFileChooser::initTestCase()
{
    dropChooserNoise();
    QVERIFY(m_drive.start(QStringLiteral("tst_cloudfilechooser")));
    for (const QString &path : Files)
        m_drive.emulator().seedFile(path, path.toUtf8());
    m_memory.reset(new MemoryStore);
    m_memory->addFolder(QStringLiteral("/D"));
    m_memory->addFile(QStringLiteral("/D/a.txt"), "a");
}

void TestCloudFileChooser::cleanup()
{
    endPolling();
}

void TestCloudFileChooser::answersTheFileMeant_data()
{
    QTest::addColumn<bool>("save");
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QString>("meant");

    // The Drive's chooser answers a double-clicked file with "/NAME/NAME", whatever the folder.
    QTest::newRow("double-click in a folder left for another, a file of its name at the top")
            << false << "" << QStringList { "click D", "click sub", "up", "double-click a.txt" }
            << "gdapp:/D/a.txt";
    QTest::newRow("double-click in a folder of the file's name")
            << false << "" << QStringList { "click same.txt", "double-click same.txt" }
            << "gdapp:/same.txt/same.txt";
    QTest::newRow("save: double-click, the extension added")
            << true << "Textes (*.txt *.md)" << QStringList { "click D", "double-click readme.md" }
            << "gdapp:/D/readme.md.txt";
    QTest::newRow("save: a name typed with a folder")
            << true << "" << QStringList { "click D", "type sub/new.txt", "ok" }
            << "gdapp:/D/sub/new.txt";
    // A store whose listings carry their folder answers "/D/NAME/NAME". The rows that expect a
    // mem: URL run over the memory store, the others over the Drive.
    QTest::newRow("double-click in a folder of a store that keeps paths")
            << false << "" << QStringList { "click D", "double-click a.txt" } << "mem:/D/a.txt";
}

void TestCloudFileChooser::answersTheFileMeant()
{
    QFETCH(bool, save);
    QFETCH(QString, filter);
    QFETCH(QStringList, steps);
    QFETCH(QString, meant);

    GoogleFile drive(QStringLiteral("gdapp"), m_drive.flow(), QUrl(QStringLiteral("gdapp:/")),
                     nullptr);
    MemoryCloudFile memory(m_memory, QUrl(QStringLiteral("mem:/")));
    CloudFile *file =
            meant.startsWith(QLatin1String("mem:")) ? static_cast<CloudFile *>(&memory) : &drive;
    expectRefusedConnection();
    whenShown<CloudFileDialog>([&steps](CloudFileDialog *chooser) { perform(chooser, steps); });
    const QUrl chosen = save
            ? CloudFileChooser::getSaveFileName(file, nullptr, QString(), QString(), filter)
            : CloudFileChooser::getOpenFileName(file, nullptr, QString(), QString(), filter);
    QCOMPARE(chosen.toString(), meant);
}

QTEST_MAIN(TestCloudFileChooser)
#include "tst_cloudfilechooser.moc"
