// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef DOWNLOADSINK_H
#define DOWNLOADSINK_H

#include <QFile>
#include <QSaveFile>
#include <QString>

// Where get puts what it downloaded. A regular file (or a new one) is written beside the target
// and renamed over it once complete, so that a failure leaves no partial file and the old one as
// it was. Standard output, and an existing target that is not a regular file (a device, a FIFO,
// a socket), are written directly, as cp does: renaming over them would replace the node
// itself. Errors are in the system's own words.
class DownloadSink
{
public:
    // "-" for standard output.
    explicit DownloadSink(const QString &target);

    bool open();
    bool write(const QByteArray &data);
    // Everything written reached the target.
    bool finish();

    // What the messages call it: the path, or "standard output".
    QString name() const;
    QString errorString() const { return m_error; }

private:
    bool fail(const QFileDevice &device);

    QString m_target;
    bool m_direct;
    QFile m_file;
    QSaveFile m_replacement;
    QString m_error;
};

#endif // DOWNLOADSINK_H
