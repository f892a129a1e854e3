// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef TRANSFERPROGRESS_H
#define TRANSFERPROGRESS_H

#include <QObject>

// A progress bar on the terminal, fed by a cloud file's progress(int) signal. Draws nothing
// when standard error is not a terminal.
class TransferProgress : public QObject
{
    Q_OBJECT

public:
    explicit TransferProgress(const QString &label, QObject *parent = nullptr);
    ~TransferProgress() override;

    static bool onTerminal();

public slots:
    void setPercent(int percent);

private:
    QString m_label;
    int m_shown = -1;
};

#endif // TRANSFERPROGRESS_H
