// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "transferprogress.h"

#include <QTextStream>

#include <unistd.h>

namespace {
constexpr int BarWidth = 30;
} // namespace

TransferProgress::TransferProgress(const QString &label, QObject *parent)
    : QObject(parent), m_label(label)
{
}

TransferProgress::~TransferProgress()
{
    if (m_shown >= 0)
        QTextStream(stderr) << '\n';
}

bool TransferProgress::onTerminal()
{
    return ::isatty(STDERR_FILENO) == 1;
}

void TransferProgress::setPercent(int percent)
{
    if (!onTerminal() || percent < 0 || percent > 100 || percent == m_shown)
        return;
    m_shown = percent;
    const int filled = percent * BarWidth / 100;
    QTextStream(stderr) << '\r' << m_label << " [" << QString(filled, QLatin1Char('#'))
                        << QString(BarWidth - filled, QLatin1Char(' ')) << "] " << percent << '%'
                        << Qt::flush;
}
