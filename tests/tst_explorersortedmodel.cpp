// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "chooserdriving.h"
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
} // namespace

class TestExplorerSortedModel : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void patterns_data();
    void patterns();
    void order_data();
    void order();

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

// Set once the listing is there, as the dialog's filter does: the rows change at once. Hidden
// entries stay hidden (the dialog's check box shows them: tst_cloudfiledialog).
void TestExplorerSortedModel::patterns_data()
{
    QTest::addColumn<QStringList>("filters");
    QTest::addColumn<QStringList>("visible");

    // Listing: a.txt, A.TXT, a.txt.bak, b.csv, docs/, .hidden.txt, .config/
    QTest::newRow("*.txt: case and whole name count")
            << QStringList { "*.txt" } << QStringList { "a.txt", "docs/" };
    QTest::newRow("two patterns") << QStringList { "*.txt", "*.csv" }
                                  << QStringList { "a.txt", "b.csv", "docs/" };
    QTest::newRow("no pattern: folders only") << QStringList {} << QStringList { "docs/" };
    QTest::newRow("everything") << QStringList { "*" }
                                << QStringList { "a.txt", "A.TXT", "a.txt.bak", "b.csv", "docs/" };
}

void TestExplorerSortedModel::patterns()
{
    QFETCH(QStringList, filters);
    QFETCH(QStringList, visible);

    m_model->onUpdateObjects(
            { new Entry(QStringLiteral("a.txt"), false), new Entry(QStringLiteral("A.TXT"), false),
              new Entry(QStringLiteral("a.txt.bak"), false),
              new Entry(QStringLiteral("b.csv"), false), new Entry(QStringLiteral("docs"), true),
              new Entry(QStringLiteral(".hidden.txt"), false),
              new Entry(QStringLiteral(".config"), true) });
    m_proxy->setFilterList(filters);
    QStringList names = shown(m_proxy.get());
    names.sort();
    visible.sort();
    QCOMPARE(names, visible);
}

// The dialog's header starts on column 0, descending: folders first, then files, A to Z, on
// every column. Ascending inverts it all. Names equal but for case are not less than one
// another: the stable sort keeps their listing order.
void TestExplorerSortedModel::order_data()
{
    QTest::addColumn<int>("column");
    QTest::addColumn<Qt::SortOrder>("order");
    QTest::addColumn<QStringList>("names");

    const QStringList aToZ { "apps/", "Zeta/", "alpha.txt", "beta.txt", "BETA.txt", "Gamma.txt" };
    QTest::newRow("the header's start") << 0 << Qt::DescendingOrder << aToZ;
    QTest::newRow("another column") << 2 << Qt::DescendingOrder << aToZ;
    QTest::newRow("ascending") << 0 << Qt::AscendingOrder
                               << QStringList { "Gamma.txt", "beta.txt", "BETA.txt",
                                                "alpha.txt", "Zeta/",    "apps/" };
}

void TestExplorerSortedModel::order()
{
    QFETCH(int, column);
    QFETCH(Qt::SortOrder, order);

    m_model->onUpdateObjects(
            { new Entry(QStringLiteral("beta.txt"), false), new Entry(QStringLiteral("Zeta"), true),
              new Entry(QStringLiteral("alpha.txt"), false),
              new Entry(QStringLiteral("BETA.txt"), false), new Entry(QStringLiteral("apps"), true),
              new Entry(QStringLiteral("Gamma.txt"), false) });
    m_proxy->setFilterList({ QStringLiteral("*") });
    m_proxy->sort(column, order);
    QTEST(shown(m_proxy.get()), "names");
}

QTEST_MAIN(TestExplorerSortedModel)
#include "tst_explorersortedmodel.moc"
