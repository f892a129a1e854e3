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
QStringList g_complaints;
QtMessageHandler g_previousHandler = nullptr;

void collectComplaints(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (QByteArray(context.category) == "qt.modeltest")
        g_complaints.append(text);
    else
        g_previousHandler(type, context, text);
}
} // namespace

class TestExplorerModel : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void roles();
    void otherRolesAndIndexes();
    void bytesToHuman_data();
    void bytesToHuman();
    void listingSignals();
};

void TestExplorerModel::cleanup()
{
    QLocale::setDefault(QLocale::system());
    QCOMPARE(g_alive, 0);
}

void TestExplorerModel::roles()
{
    QLocale::setDefault(QLocale::c());
    ExplorerModel model;
    auto *file = new Entry(QStringLiteral("a.txt"), false, 1536);
    auto *folder = new Entry(QStringLiteral("pictures.png"), true, 4096);
    model.onUpdateObjects({ file, folder });

    QCOMPARE(model.rowCount(), 2);
    QCOMPARE(model.columnCount(), 3);
    QCOMPARE(model.data(model.index(0, 0)).toString(), QStringLiteral("a.txt"));
    QCOMPARE(model.data(model.index(0, 1)).toString(), QStringLiteral("1.50 kB"));
    // In the system's short format (the test runs with a French system locale), whatever the
    // default locale.
    QCOMPARE(model.data(model.index(0, 2)).toString(), QStringLiteral("13/04/2021 07:41"));
    QCOMPARE(model.data(model.index(1, 0)).toString(), QStringLiteral("pictures.png"));
    QVERIFY(!model.data(model.index(1, 1)).isValid()); // no size for a folder

    // The name alone decides the icon, folders included; the other columns carry the object in
    // its place.
    QCOMPARE(model.data(model.index(1, 0), Qt::DecorationRole).metaType(),
             QMetaType::fromType<QIcon>());
    for (int column = 0; column < 3; ++column) {
        const QVariant user = model.data(model.index(1, column), Qt::UserRole);
        QCOMPARE(user.metaType(), QMetaType::fromType<CloudObject *>());
        QCOMPARE(user.value<CloudObject *>(), folder);
        if (column > 0)
            QCOMPARE(model.data(model.index(1, column), Qt::DecorationRole), user);
    }
    QCOMPARE(model.getObject(0), file);
    QCOMPARE(model.getObject(model.index(1, 2)), folder);
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
    // A flat model that still counts rows under a valid index, unguarded.
    QCOMPARE(model.rowCount(model.index(0, 0)), 1);
}

void TestExplorerModel::bytesToHuman_data()
{
    QTest::addColumn<QLocale>("locale");
    QTest::addColumn<double>("bytes");
    QTest::addColumn<QString>("text");

    const QLocale c = QLocale::c();
    const QLocale french(QLocale::French, QLocale::France);
    QTest::newRow("1023") << c << 1023.0 << "1023.00 Octets";
    QTest::newRow("1024") << c << 1024.0 << "1.00 kB";
    QTest::newRow("1536, French") << french << 1536.0 << "1,50 kB";
    QTest::newRow("1048575 rounds after the unit is chosen") << c << 1048575.0 << "1024.00 kB";
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

// Every listing reports the whole model changed, an empty one too, down to row -1; the rows' own
// signals are the model tester's to check. Rows of a flat model that report children, and the
// empty listing's invalid corner, are deliberate: nothing else may upset the tester.
void TestExplorerModel::listingSignals()
{
    g_previousHandler = qInstallMessageHandler(collectComplaints);
    ExplorerModel model;
    QAbstractItemModelTester tester(&model,
                                    QAbstractItemModelTester::FailureReportingMode::Warning);
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    QList<CloudObject *> first { new Entry(QStringLiteral("a"), false),
                                 new Entry(QStringLiteral("b"), true) };
    model.onUpdateObjects(first);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.last().at(0).value<QModelIndex>(), model.index(0, 0));
    QCOMPARE(changed.last().at(1).value<QModelIndex>(), model.index(1, 2));
    QVERIFY(changed.last().at(2).value<QList<int>>().isEmpty());
    QList<CloudObject *> relisted { new Entry(QStringLiteral("c"), false) };
    model.onUpdateObjects(relisted);
    model.onUpdateObjects({});
    qInstallMessageHandler(g_previousHandler);

    QCOMPARE(inserted.count(), 2); // none for the empty listing
    QCOMPARE(changed.count(), 3);
    QCOMPARE(changed.last().at(0).value<QModelIndex>().row(), 0);
    QCOMPARE(changed.last().at(1).value<QModelIndex>().row(), -1);
    // The listings replaced are their maker's to delete; the last one goes with the model.
    QCOMPARE(g_alive, 3);
    qDeleteAll(first);
    qDeleteAll(relisted);
    QVERIFY(!g_complaints.isEmpty());
    for (const QString &complaint : std::as_const(g_complaints)) {
        QVERIFY2(complaint.contains(QLatin1String("(model->parent(childIndex))"))
                         || complaint.contains(QLatin1String("bottomRight.isValid()")),
                 qPrintable(complaint));
    }
}

QTEST_MAIN(TestExplorerModel)
#include "tst_explorermodel.moc"
