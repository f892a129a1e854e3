// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "messagecapture.h"

#include <QLoggingCategory>

MessageCapture *MessageCapture::s_current = nullptr;

MessageCapture::MessageCapture() : m_previous(qInstallMessageHandler(collect))
{
    s_current = this;
}

MessageCapture::~MessageCapture()
{
    qInstallMessageHandler(m_previous);
    s_current = nullptr;
}

void MessageCapture::collect(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    const QLatin1String category(context.category ? context.category : "default");
    s_current->m_messages.append(category + QLatin1String(": ") + text);
    if (type == QtDebugMsg && category == QLatin1String("default"))
        s_current->m_debug.append(text);
    s_current->m_previous(type, context, text);
}
