// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "explorermodel.h"
#include "explorersortedmodel.h"

#include <QtTest>

namespace {
class Entry : public CloudObject
{
public:
    Entry(const QString &name, bool folder)
    {
        m_fileName = name;
        m_isFolder = folder;
    }
};

// The names the proxy shows, in its order, with folders marked by a trailing slash.
QStringList shown(const QSortFilterProxyModel &proxy)
{
    QStringList names;
    for (int row = 0; row < proxy.rowCount(); ++row) {
        const auto *object = proxy.index(row, 0).data(Qt::UserRole).value<CloudObject *>();
        names.append(object->fileName() + (object->isFolder() ? QStringLiteral("/") : QString()));
    }
    return names;
}
} // namespace

class TestExplorerSortedModel : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void patterns_data();
    void patterns();
    void hiddenEntries();
    void orderWithTheInitialIndicator();
    void orderAscendingIsInverted();
    void sameNameInOtherCaseIsNotLess();
    void settingsChangeTheRowsAtOnce();

private:
    std::unique_ptr<ExplorerModel> m_model;
    std::unique_ptr<ExplorerSortedModel> m_proxy;
};

void TestExplorerSortedModel::init()
{
    m_proxy.reset();
    m_model = std::make_unique<ExplorerModel>();
    m_proxy = std::make_unique<ExplorerSortedModel>();
    m_proxy->setDynamicSortFilter(true);
    m_proxy->setSourceModel(m_model.get());
}

void TestExplorerSortedModel::patterns_data()
{
    QTest::addColumn<QStringList>("filters");
    QTest::addColumn<QStringList>("visible");

    // Listing: a.txt, A.TXT, a.txt.bak, b.csv, docs/, .hidden.txt
    QTest::newRow("*.txt: case and whole name count")
            << QStringList { "*.txt" } << QStringList { "a.txt", "docs/" };
    QTest::newRow("two patterns") << QStringList { "*.txt", "*.csv" }
                                  << QStringList { "a.txt", "b.csv", "docs/" };
    QTest::newRow("no pattern: folders only") << QStringList {} << QStringList { "docs/" };
    QTest::newRow("everything") << QStringList { "*" }
                                << QStringList { "a.txt", "A.TXT", "a.txt.bak", "b.csv", "docs/" };
    QTest::newRow("one name") << QStringList { "b.csv" } << QStringList { "b.csv", "docs/" };
    QTest::newRow("single character")
            << QStringList { "?.csv" } << QStringList { "b.csv", "docs/" };
}

void TestExplorerSortedModel::patterns()
{
    QFETCH(QStringList, filters);
    QFETCH(QStringList, visible);

    m_model->onUpdateObjects(
            { new Entry(QStringLiteral("a.txt"), false), new Entry(QStringLiteral("A.TXT"), false),
              new Entry(QStringLiteral("a.txt.bak"), false),
              new Entry(QStringLiteral("b.csv"), false), new Entry(QStringLiteral("docs"), true),
              new Entry(QStringLiteral(".hidden.txt"), false) });
    m_proxy->setFilterList(filters);
    QCOMPARE(m_proxy->filterList(), filters);
    QStringList names = shown(*m_proxy);
    names.sort();
    visible.sort();
    QCOMPARE(names, visible);
}

void TestExplorerSortedModel::hiddenEntries()
{
    m_model->onUpdateObjects({ new Entry(QStringLiteral(".config"), true),
                               new Entry(QStringLiteral(".hidden.txt"), false),
                               new Entry(QStringLiteral(".hidden.csv"), false),
                               new Entry(QStringLiteral("seen.txt"), false) });
    m_proxy->setFilterList({ QStringLiteral("*.txt") });
    QVERIFY(!m_proxy->showHiddenFiles());
    QCOMPARE(shown(*m_proxy), QStringList { "seen.txt" });

    m_proxy->setShowHiddenFiles(true);
    QVERIFY(m_proxy->showHiddenFiles());
    QStringList names = shown(*m_proxy);
    names.sort();
    QCOMPARE(names, (QStringList { ".config/", ".hidden.txt", "seen.txt" }));
}

void TestExplorerSortedModel::orderWithTheInitialIndicator()
{
    m_model->onUpdateObjects({ new Entry(QStringLiteral("beta.txt"), false),
                               new Entry(QStringLiteral("Zeta"), true),
                               new Entry(QStringLiteral("alpha.txt"), false),
                               new Entry(QStringLiteral("apps"), true),
                               new Entry(QStringLiteral("Gamma.txt"), false) });
    m_proxy->setFilterList({ QStringLiteral("*") });
    // The dialog's header starts on column 0, descending: folders first, then files, A to Z.
    m_proxy->sort(0, Qt::DescendingOrder);
    QCOMPARE(shown(*m_proxy),
             (QStringList { "apps/", "Zeta/", "alpha.txt", "beta.txt", "Gamma.txt" }));
    // Every column sorts the same way.
    m_proxy->sort(2, Qt::DescendingOrder);
    QCOMPARE(shown(*m_proxy),
             (QStringList { "apps/", "Zeta/", "alpha.txt", "beta.txt", "Gamma.txt" }));
}

void TestExplorerSortedModel::orderAscendingIsInverted()
{
    m_model->onUpdateObjects({ new Entry(QStringLiteral("beta.txt"), false),
                               new Entry(QStringLiteral("Zeta"), true),
                               new Entry(QStringLiteral("alpha.txt"), false),
                               new Entry(QStringLiteral("apps"), true) });
    m_proxy->setFilterList({ QStringLiteral("*") });
    m_proxy->sort(0, Qt::AscendingOrder);
    QCOMPARE(shown(*m_proxy), (QStringList { "beta.txt", "alpha.txt", "Zeta/", "apps/" }));
}

void TestExplorerSortedModel::sameNameInOtherCaseIsNotLess()
{
    m_model->onUpdateObjects({ new Entry(QStringLiteral("b"), false),
                               new Entry(QStringLiteral("B"), false),
                               new Entry(QStringLiteral("a"), false) });
    m_proxy->setFilterList({ QStringLiteral("*") });
    m_proxy->sort(0, Qt::DescendingOrder);
    // Neither of b and B is less than the other: the stable sort keeps their listing order.
    QCOMPARE(shown(*m_proxy), (QStringList { "a", "b", "B" }));
}

void TestExplorerSortedModel::settingsChangeTheRowsAtOnce()
{
    const QList<CloudObject *> first { new Entry(QStringLiteral("a.txt"), false),
                                       new Entry(QStringLiteral("b.csv"), false) };
    m_model->onUpdateObjects(first);
    m_proxy->setFilterList({ QStringLiteral("*.txt") });
    QCOMPARE(m_proxy->rowCount(), 1);
    m_proxy->setFilterList({ QStringLiteral("*.csv"), QStringLiteral("*.txt") });
    QCOMPARE(m_proxy->rowCount(), 2);
    // New listings are filtered as they arrive.
    m_model->onUpdateObjects({ new Entry(QStringLiteral("c.doc"), false),
                               new Entry(QStringLiteral("d.csv"), false) });
    QCOMPARE(shown(*m_proxy), QStringList { "d.csv" });
    qDeleteAll(first); // a replaced listing stays with its maker
}

QTEST_MAIN(TestExplorerSortedModel)
#include "tst_explorersortedmodel.moc"
