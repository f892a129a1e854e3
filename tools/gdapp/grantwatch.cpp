// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "grantwatch.h"

#include <QSettings>

namespace {
constexpr int CheckInterval = 100; // milliseconds
} // namespace

GrantWatch::GrantWatch(const QString &settingsGroup, QObject *parent)
    : QObject(parent), m_group(settingsGroup)
{
    m_timer.setInterval(CheckInterval);
    connect(&m_timer, &QTimer::timeout, this, &GrantWatch::check);
}

QString GrantWatch::key(const char *name) const
{
    return m_group + QLatin1Char('/') + QLatin1String(name);
}

// Settings objects of one process share what was written, before it reaches the disk.
QString GrantWatch::stored(const char *name) const
{
    return QSettings().value(key(name)).toString();
}

void GrantWatch::start()
{
    rebase();
    m_timer.start();
}

void GrantWatch::stop()
{
    m_timer.stop();
}

void GrantWatch::restore()
{
    if (stored("refreshtoken") == m_refreshToken)
        return;
    QSettings settings;
    if (m_refreshToken.isEmpty())
        settings.remove(key("refreshtoken"));
    else
        settings.setValue(key("refreshtoken"), m_refreshToken);
}

void GrantWatch::rebase()
{
    m_token = stored("token");
    m_refreshToken = stored("refreshtoken");
}

void GrantWatch::check()
{
    if (stored("refreshtoken") == m_refreshToken || stored("token") != m_token)
        return;
    stop();
    emit tokenRequestFailed(QStringLiteral(
            "the sign-in service refused to give a token (a wrong client identifier or secret "
            "is the usual cause; GDAPP_CLIENT_ID sets the identifier)"));
}
