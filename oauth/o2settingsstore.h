// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef O2SETTINGSSTORE_H
#define O2SETTINGSSTORE_H

#include "simplecrypt.h"

#include <QObject>
#include <QString>

class QSettings;

// String values kept enciphered in QSettings; keys stay readable.
class O2SettingsStore : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString groupKey READ groupKey WRITE setGroupKey NOTIFY groupKeyChanged)

public:
    // Exists for the meta-type system only: no settings are attached and no key is set.
    explicit O2SettingsStore(QObject *parent = nullptr);
    // Uses the running application's default settings.
    O2SettingsStore(const QString &encryptionKey, QObject *parent);
    // Takes ownership of settings.
    O2SettingsStore(QSettings *settings, const QString &encryptionKey, QObject *parent);

    QString groupKey() const;
    void setGroupKey(const QString &groupKey);

    QString value(const QString &key, const QString &defaultValue = QString());
    void setValue(const QString &key, const QString &value);

signals:
    void groupKeyChanged();

private:
    QString fullKey(const QString &key) const;

    QSettings *m_settings;
    QString m_groupKey;
    SimpleCrypt m_crypt;
};

#endif // O2SETTINGSSTORE_H
