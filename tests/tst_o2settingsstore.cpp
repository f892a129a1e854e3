// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "o2settingsstore.h"

#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {
const QString PassPhrase = QStringLiteral("K72R31D48P06");
} // namespace

class TestO2SettingsStore : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void missingKeyGivesTheDefault();
    void roundTrip_data();
    void roundTrip();
    void clearTextReadsEmpty();
    void keyDerivationReadsTheDigestAsDecimalText();
    void groupKeyPrefixesKeys();
    void storeWithoutSettingsIsHarmless();

private:
    QSettings *newSettings() const;
    QScopedPointer<QTemporaryDir> m_dir;
};

void TestO2SettingsStore::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("gdapp-tests"));
    QCoreApplication::setApplicationName(QStringLiteral("tst_o2settingsstore"));
}

void TestO2SettingsStore::init()
{
    m_dir.reset(new QTemporaryDir);
    QVERIFY(m_dir->isValid());
}

QSettings *TestO2SettingsStore::newSettings() const
{
    return new QSettings(m_dir->filePath(QStringLiteral("settings.ini")), QSettings::IniFormat);
}

void TestO2SettingsStore::missingKeyGivesTheDefault()
{
    O2SettingsStore store(newSettings(), PassPhrase, nullptr);
    QCOMPARE(store.value(QStringLiteral("gdapp/token"), QStringLiteral("fallback")),
             QStringLiteral("fallback"));
    QVERIFY(store.value(QStringLiteral("gdapp/token"), QString()).isNull());
}

void TestO2SettingsStore::roundTrip_data()
{
    QTest::addColumn<QString>("value");
    QTest::newRow("token") << "ya29.a0AfH6SMBx";
    QTest::newRow("non-ASCII") << "jeton-éàü-€-日本";
    QTest::newRow("empty") << "";
}

void TestO2SettingsStore::roundTrip()
{
    QFETCH(QString, value);
    {
        O2SettingsStore store(newSettings(), PassPhrase, nullptr);
        store.setValue(QStringLiteral("gdapp/token"), value);
        QCOMPARE(store.value(QStringLiteral("gdapp/token"), QStringLiteral("x")), value);
    }
    // Written to disk when the store and its settings go away, readable by the next run.
    O2SettingsStore store(newSettings(), PassPhrase, nullptr);
    QCOMPARE(store.value(QStringLiteral("gdapp/token"), QStringLiteral("x")), value);
    QSettings raw(m_dir->filePath(QStringLiteral("settings.ini")), QSettings::IniFormat);
    QVERIFY(raw.value(QStringLiteral("gdapp/token")).toString() != value);
}

void TestO2SettingsStore::clearTextReadsEmpty()
{
    QSettings *settings = newSettings();
    settings->setValue(QStringLiteral("gdapp/token"), QStringLiteral("plain text"));
    O2SettingsStore store(settings, PassPhrase, nullptr);
    QTest::ignoreMessage(QtWarningMsg, "Invalid version or not a cyphertext.");
    const QString value = store.value(QStringLiteral("gdapp/token"), QStringLiteral("fallback"));
    QVERIFY(value.isEmpty());
}

void TestO2SettingsStore::keyDerivationReadsTheDigestAsDecimalText()
{
    // The raw SHA-1 digest of a pass phrase is never decimal text, so the cipher key comes out
    // as 0 and stores keyed with different pass phrases read each other's values. Stored tokens
    // depend on exactly this.
    QSettings *settings = newSettings();
    O2SettingsStore store(settings, PassPhrase, nullptr);
    store.setValue(QStringLiteral("gdapp/refreshtoken"), QStringLiteral("1//refresh"));

    SimpleCrypt zeroKey(0);
    QCOMPARE(zeroKey.decryptToString(
                     settings->value(QStringLiteral("gdapp/refreshtoken")).toString()),
             QStringLiteral("1//refresh"));
}

void TestO2SettingsStore::groupKeyPrefixesKeys()
{
    QSettings *settings = newSettings();
    O2SettingsStore store(settings, PassPhrase, nullptr);
    store.setGroupKey(QStringLiteral("g"));
    store.setValue(QStringLiteral("gdapp/token"), QStringLiteral("v"));
    QCOMPARE(settings->allKeys(), QStringList(QStringLiteral("g/gdapp/token")));
    QCOMPARE(store.value(QStringLiteral("gdapp/token"), QString()), QStringLiteral("v"));
}

void TestO2SettingsStore::storeWithoutSettingsIsHarmless()
{
    O2SettingsStore store;
    store.setValue(QStringLiteral("k"), QStringLiteral("v"));
    QCOMPARE(store.value(QStringLiteral("k"), QStringLiteral("d")), QStringLiteral("d"));
}

QTEST_GUILESS_MAIN(TestO2SettingsStore)
#include "tst_o2settingsstore.moc"
