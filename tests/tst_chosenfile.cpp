// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "chosenfile.h"
#include "memorycloudfile.h"

#include <QtTest>

// The example editor's reading of the chooser's answer, which hosts copy: a double-clicked
// file comes named twice.
class TestChosenFile : public QObject
{
    Q_OBJECT

private slots:
    void resolve_data();
    void resolve();
};

void TestChosenFile::resolve_data()
{
    QTest::addColumn<QString>("chosen");
    QTest::addColumn<QString>("resolved");

    QTest::newRow("clicked, then OK") << "mem:/notes.txt"
                                      << "mem:/notes.txt";
    QTest::newRow("double-clicked") << "mem:/notes.txt/notes.txt"
                                    << "mem:/notes.txt";
    QTest::newRow("double-clicked in a folder") << "mem:/docs/report.txt/report.txt"
                                                << "mem:/docs/report.txt";
    QTest::newRow("a name with a space") << "mem:/with space.txt/with space.txt"
                                         << "mem:/with space.txt";
    // A folder and the file in it share a name: the path alone cannot tell, the store can.
    QTest::newRow("clicked in a folder of its name") << "mem:/same.txt/same.txt"
                                                     << "mem:/same.txt/same.txt";
    QTest::newRow("double-clicked in a folder of its name") << "mem:/same.txt/same.txt/same.txt"
                                                            << "mem:/same.txt/same.txt";
    QTest::newRow("a new name, as its folder's") << "mem:/docs/docs"
                                                 << "mem:/docs/docs";
    QTest::newRow("a new name, named twice") << "mem:/new.txt/new.txt"
                                             << "mem:/new.txt/new.txt";
    QTest::newRow("the root") << "mem:/"
                              << "mem:/";
}

void TestChosenFile::resolve()
{
    QFETCH(QString, chosen);
    auto store = QSharedPointer<MemoryStore>::create();
    store->addFile(QStringLiteral("/notes.txt"), "n");
    store->addFolder(QStringLiteral("/docs"));
    store->addFile(QStringLiteral("/docs/report.txt"), "r");
    store->addFile(QStringLiteral("/with space.txt"), "w");
    store->addFolder(QStringLiteral("/same.txt"));
    store->addFile(QStringLiteral("/same.txt/same.txt"), "s");
    MemoryCloudFile file(store, QUrl(QStringLiteral("mem:/")));

    QTEST(ChosenFile::resolve(&file, QUrl(chosen)).toString(), "resolved");
}

QTEST_GUILESS_MAIN(TestChosenFile)
#include "tst_chosenfile.moc"
