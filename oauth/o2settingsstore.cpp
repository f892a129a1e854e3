// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "o2settingsstore.h"

#include <QCryptographicHash>
#include <QSettings>

namespace {
// Contract: the raw SHA-1 digest is read as if it were decimal text. This is not a sound key
// derivation, but every token already stored was enciphered with the key it gives, so it stays as
// it is.
quint64 getHash(const QString &encryptionKey)
{
    return QCryptographicHash::hash(encryptionKey.toLatin1(), QCryptographicHash::Sha1)
            .toULongLong();
}
} // namespace

O2SettingsStore::O2SettingsStore(QObject *parent) : QObject(parent), m_settings(nullptr) { }

O2SettingsStore::O2SettingsStore(const QString &encryptionKey, QObject *parent)
    : QObject(parent), m_settings(new QSettings(this)), m_crypt(getHash(encryptionKey))
{
}

O2SettingsStore::O2SettingsStore(QSettings *settings, const QString &encryptionKey, QObject *parent)
    : QObject(parent), m_settings(settings), m_crypt(getHash(encryptionKey))
{
    m_settings->setParent(this);
}

QString O2SettingsStore::groupKey() const
{
    return m_groupKey;
}

void O2SettingsStore::setGroupKey(const QString &groupKey)
{
    if (m_groupKey == groupKey)
        return;
    m_groupKey = groupKey;
    emit groupKeyChanged();
}

QString O2SettingsStore::fullKey(const QString &key) const
{
    return m_groupKey.isEmpty() ? key : m_groupKey + QLatin1Char('/') + key;
}

QString O2SettingsStore::value(const QString &key, const QString &defaultValue)
{
    const QString full = fullKey(key);
    if (!m_settings || !m_settings->contains(full))
        return defaultValue;
    return m_crypt.decryptToString(m_settings->value(full).toString());
}

void O2SettingsStore::setValue(const QString &key, const QString &value)
{
    if (!m_settings)
        return;
    m_settings->setValue(fullKey(key), m_crypt.encryptToString(value));
}
