// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "o2settingsstore.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

namespace {
const QString PassPhrase = QStringLiteral("K72R31D48P06");
} // namespace

class TestO2SettingsStore : public QObject
{
    Q_OBJECT

private slots:
    void defaultOnlyForAMissingKey();
    void storedForm();
    void storeWithoutSettingsIsHarmless();

private:
    QSettings *newSettings() const;
    QTemporaryDir m_dir;
};

// A file of each test's own.
QSettings *TestO2SettingsStore::newSettings() const
{
    return new QSettings(m_dir.filePath(QLatin1String(QTest::currentTestFunction())),
                         QSettings::IniFormat);
}

// A value that does not decipher reads as empty, not as the default.
void TestO2SettingsStore::defaultOnlyForAMissingKey()
{
    QSettings *settings = newSettings();
    settings->setValue(QStringLiteral("gdapp/token"), QStringLiteral("plain text"));
    O2SettingsStore store(settings, PassPhrase, nullptr);
    QCOMPARE(store.value(QStringLiteral("gdapp/expires"), QStringLiteral("fallback")),
             QStringLiteral("fallback"));
    QTest::ignoreMessage(QtWarningMsg, "Invalid version or not a cyphertext.");
    QCOMPARE(store.value(QStringLiteral("gdapp/token"), QStringLiteral("fallback")), QString());
}

// The raw SHA-1 digest of a pass phrase is never decimal text, so the cipher key comes out as 0
// and stores keyed with different pass phrases read each other's values. Stored tokens depend on
// exactly this. The group key goes in front of the keys.
void TestO2SettingsStore::storedForm()
{
    QSettings *settings = newSettings();
    O2SettingsStore store(settings, PassPhrase, nullptr);
    store.setGroupKey(QStringLiteral("g"));
    store.setValue(QStringLiteral("gdapp/refreshtoken"), QStringLiteral("1//refresh"));

    QCOMPARE(settings->allKeys(), QStringList(QStringLiteral("g/gdapp/refreshtoken")));
    QCOMPARE(SimpleCrypt(0).decryptToString(
                     settings->value(QStringLiteral("g/gdapp/refreshtoken")).toString()),
             QStringLiteral("1//refresh"));
    QCOMPARE(store.value(QStringLiteral("gdapp/refreshtoken"), QString()),
             QStringLiteral("1//refresh"));
}

void TestO2SettingsStore::storeWithoutSettingsIsHarmless()
{
    O2SettingsStore store;
    store.setValue(QStringLiteral("k"), QStringLiteral("v"));
    QCOMPARE(store.value(QStringLiteral("k"), QStringLiteral("d")), QStringLiteral("d"));
}

QTEST_GUILESS_MAIN(TestO2SettingsStore)
#include "tst_o2settingsstore.moc"
