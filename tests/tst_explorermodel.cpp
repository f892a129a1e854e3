// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "explorermodel.h"

#include <QAbstractItemModelTester>
#include <QIcon>
#include <QSignalSpy>
#include <QTimeZone>
#include <QtTest>

namespace {
int g_alive = 0;

// An entry that counts how many of its kind are alive.
class Entry : public CloudObject
{
public:
    Entry(const QString &name, bool folder, quint64 bytes = 0)
    {
        m_fileName = name;
        m_isFolder = folder;
        m_bytes = bytes;
        m_lastModified = QDateTime(QDate(2021, 4, 13), QTime(7, 41), QTimeZone::utc());
        ++g_alive;
    }
    ~Entry() override { --g_alive; }
};

// The model tester's complaints, gathered rather than failing the test.
class TesterComplaints
{
public:
    TesterComplaints() : m_previous(qInstallMessageHandler(collect)) { s_current = this; }
    ~TesterComplaints()
    {
        qInstallMessageHandler(m_previous);
        s_current = nullptr;
    }
    QStringList complaints;

private:
    static void collect(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        if (QByteArray(context.category) == "qt.modeltest")
            s_current->complaints.append(text);
        else
            s_current->m_previous(type, context, text);
    }
    static TesterComplaints *s_current;
    QtMessageHandler m_previous;
};
TesterComplaints *TesterComplaints::s_current = nullptr;
} // namespace

class TestExplorerModel : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void displayAndUserRoles();
    void decorationFollowsTheName();
    void otherRolesAndIndexes();
    void bytesToHuman_data();
    void bytesToHuman();
    void updateSignals();
    void replacedObjectsAreNotDeleted();
    void onlyTheDeliberateQuirksUpsetTheTester();
};

void TestExplorerModel::cleanup()
{
    QLocale::setDefault(QLocale::system());
    QCOMPARE(g_alive, 0);
}

void TestExplorerModel::displayAndUserRoles()
{
    QLocale::setDefault(QLocale::c());
    ExplorerModel model;
    auto *file = new Entry(QStringLiteral("a.txt"), false, 1536);
    auto *folder = new Entry(QStringLiteral("docs"), true, 4096);
    model.onUpdateObjects({ file, folder });

    QCOMPARE(model.rowCount(), 2);
    QCOMPARE(model.columnCount(), 3);
    QCOMPARE(model.data(model.index(0, 0)).toString(), QStringLiteral("a.txt"));
    QCOMPARE(model.data(model.index(0, 1)).toString(), QStringLiteral("1.50 kB"));
    // In the system's short format (the test runs with a French system locale), whatever the
    // default locale.
    QCOMPARE(model.data(model.index(0, 2)).toString(), QStringLiteral("13/04/2021 07:41"));
    QCOMPARE(model.data(model.index(1, 0)).toString(), QStringLiteral("docs"));
    QVERIFY(!model.data(model.index(1, 1)).isValid()); // no size for a folder

    for (int column = 0; column < 3; ++column) {
        const QVariant user = model.data(model.index(1, column), Qt::UserRole);
        QCOMPARE(user.metaType(), QMetaType::fromType<CloudObject *>());
        QCOMPARE(user.value<CloudObject *>(), folder);
    }
    QCOMPARE(model.getObject(0), file);
    QCOMPARE(model.getObject(model.index(1, 2)), folder);
}

void TestExplorerModel::decorationFollowsTheName()
{
    ExplorerModel model;
    auto *folder = new Entry(QStringLiteral("pictures.png"), true);
    model.onUpdateObjects({ folder });
    QCOMPARE(model.data(model.index(0, 0), Qt::DecorationRole).metaType(),
             QMetaType::fromType<QIcon>());
    // The other columns carry the object there too.
    QCOMPARE(model.data(model.index(0, 1), Qt::DecorationRole).value<CloudObject *>(), folder);
    QCOMPARE(model.data(model.index(0, 2), Qt::DecorationRole).value<CloudObject *>(), folder);
}

void TestExplorerModel::otherRolesAndIndexes()
{
    ExplorerModel model;
    model.onUpdateObjects({ new Entry(QStringLiteral("a"), false) });
    QVERIFY(!model.data(model.index(0, 0), Qt::ToolTipRole).isValid());
    QVERIFY(!model.data(QModelIndex()).isValid());
    QVERIFY(!model.index(1, 0).isValid());
    QVERIFY(!model.index(0, 3).isValid());
    QVERIFY(!model.index(-1, 0).isValid());
    QVERIFY(!model.parent(model.index(0, 0)).isValid());
    QCOMPARE(model.index(0, 2).internalPointer(), nullptr);
    // A flat model that still counts rows under a valid index, unguarded.
    QCOMPARE(model.rowCount(model.index(0, 0)), 1);
    QVERIFY(model.hasChildren(model.index(0, 0)));
}

void TestExplorerModel::bytesToHuman_data()
{
    QTest::addColumn<QLocale>("locale");
    QTest::addColumn<double>("bytes");
    QTest::addColumn<QString>("text");

    const QLocale c = QLocale::c();
    const QLocale french(QLocale::French, QLocale::France);
    QTest::newRow("0") << c << 0.0 << "0.00 Octets";
    QTest::newRow("512") << c << 512.0 << "512.00 Octets";
    QTest::newRow("512, French") << french << 512.0 << "512,00 Octets";
    QTest::newRow("1023") << c << 1023.0 << "1023.00 Octets";
    QTest::newRow("1024") << c << 1024.0 << "1.00 kB";
    QTest::newRow("1536") << c << 1536.0 << "1.50 kB";
    QTest::newRow("1536, French") << french << 1536.0 << "1,50 kB";
    QTest::newRow("1048575 rounds after the unit is chosen") << c << 1048575.0 << "1024.00 kB";
    QTest::newRow("1048576") << c << 1048576.0 << "1.00 MB";
    QTest::newRow("1 TiB") << c << std::ldexp(1.0, 40) << "1.00 TB";
    QTest::newRow("1 YiB") << c << std::ldexp(1.0, 80) << "1.00 YB";
    QTest::newRow("1024 YiB") << c << std::ldexp(1.0, 90) << "1.00 Inconnu";
    QTest::newRow("beyond") << c << std::ldexp(1.0, 100) << "1024.00 Inconnu";
}

void TestExplorerModel::bytesToHuman()
{
    QFETCH(QLocale, locale);
    QFETCH(double, bytes);
    QLocale::setDefault(locale);
    QTEST(ExplorerModel().bytesToHuman(bytes), "text");
}

void TestExplorerModel::updateSignals()
{
    ExplorerModel model;
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);

    // An empty listing into an empty model: only the change.
    model.onUpdateObjects({});
    QCOMPARE(removed.count(), 0);
    QCOMPARE(inserted.count(), 0);
    QCOMPARE(changed.count(), 1);

    QList<CloudObject *> first { new Entry(QStringLiteral("a"), false),
                                 new Entry(QStringLiteral("b"), false) };
    model.onUpdateObjects(first);
    QCOMPARE(removed.count(), 0);
    QCOMPARE(inserted.count(), 1);
    QCOMPARE(inserted.last().at(1).toInt(), 0);
    QCOMPARE(inserted.last().at(2).toInt(), 1);
    QCOMPARE(changed.count(), 2);
    QCOMPARE(changed.last().at(1).value<QModelIndex>(), model.index(1, 2));
    QVERIFY(changed.last().at(2).value<QList<int>>().isEmpty());

    // Emptied: rows removed, and the change still reported, down to row -1.
    model.onUpdateObjects({});
    QCOMPARE(removed.count(), 1);
    QCOMPARE(removed.last().at(2).toInt(), 1);
    QCOMPARE(changed.count(), 3);
    const QModelIndex topLeft = changed.last().at(0).value<QModelIndex>();
    const QModelIndex bottomRight = changed.last().at(1).value<QModelIndex>();
    QCOMPARE(topLeft.row(), 0);
    QCOMPARE(bottomRight.row(), -1);
    QVERIFY(!bottomRight.isValid());
    qDeleteAll(first);
}

void TestExplorerModel::replacedObjectsAreNotDeleted()
{
    QList<CloudObject *> first { new Entry(QStringLiteral("a"), false) };
    {
        ExplorerModel model;
        model.onUpdateObjects(first);
        model.onUpdateObjects(
                { new Entry(QStringLiteral("b"), false), new Entry(QStringLiteral("c"), true) });
        QCOMPARE(g_alive, 3);
    }
    // The model deleted what it held at the end, not what it had replaced.
    QCOMPARE(g_alive, 1);
    qDeleteAll(first);
}

void TestExplorerModel::onlyTheDeliberateQuirksUpsetTheTester()
{
    TesterComplaints complaints;
    ExplorerModel model;
    QAbstractItemModelTester tester(&model,
                                    QAbstractItemModelTester::FailureReportingMode::Warning);
    QList<CloudObject *> listed { new Entry(QStringLiteral("a"), false),
                                  new Entry(QStringLiteral("b"), true) };
    model.onUpdateObjects(listed);
    QList<CloudObject *> relisted { new Entry(QStringLiteral("c"), false) };
    model.onUpdateObjects(relisted);
    model.onUpdateObjects({});
    qDeleteAll(listed);
    qDeleteAll(relisted);

    // Rows of a flat model that report children, and the empty listing's invalid corner:
    // both deliberate. Nothing else may come up.
    QVERIFY(!complaints.complaints.isEmpty());
    for (const QString &complaint : complaints.complaints) {
        QVERIFY2(complaint.contains(QLatin1String("parent"))
                         || complaint.contains(QLatin1String("bottomRight")),
                 qPrintable(complaint));
    }
}

QTEST_MAIN(TestExplorerModel)
#include "tst_explorermodel.moc"
