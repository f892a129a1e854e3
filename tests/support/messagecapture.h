// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef MESSAGECAPTURE_H
#define MESSAGECAPTURE_H

#include <QtGlobal>
#include <QStringList>

// Collects every message of the process (debug, info, warning, critical), category and text,
// while it lives, and still passes them on. One at a time.
class MessageCapture
{
public:
    MessageCapture();
    ~MessageCapture();

    QStringList messages() const { return m_messages; } // "category: text"
    QStringList debugLines() const { return m_debug; } // the default category's debug texts

private:
    static void collect(QtMsgType type, const QMessageLogContext &context, const QString &text);

    static MessageCapture *s_current;
    QtMessageHandler m_previous;
    QStringList m_messages;
    QStringList m_debug;
};

#endif // MESSAGECAPTURE_H
