// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef GDAPPRUNNER_H
#define GDAPPRUNNER_H

#include <QByteArray>
#include <QProcessEnvironment>
#include <QStringList>
#include <QUrl>

#include <functional>

class QProcess;

// Runs the command-line host as a user does, one command at a time to its end:
//     GdappRunner gdapp(QStringLiteral(GDAPP_PROGRAM));
//     gdapp.setEnvironment(GdappRunner::environmentFor(emulator.url(), config.path()));
//     const GdappRunner::Run run = gdapp.run({ "ls", "gdapp:/" });
//     QCOMPARE(run.exitCode, 0);
// Every command answers consents with --consent fetch unless the arguments choose another way.
class GdappRunner
{
public:
    struct Run
    {
        int exitCode = -1; // -1: still running at the deadline (then killed); -2: crashed
        QByteArray out;
        QByteArray err;
    };

    explicit GdappRunner(const QString &program);

    // The plug-in pointed at a service (one base URL for Drive and OAuth), its settings in
    // configFolder, and nothing from the desktop: no display, no plug-in path, no language but
    // the plug-in's own (LC_ALL=C.UTF-8).
    static QProcessEnvironment environmentFor(const QUrl &service, const QString &configFolder);

    // The refresh token that gdapp keeps in configFolder, as its settings file holds it:
    // enciphered, byte for byte ("refreshtoken=..."). Empty when there is none.
    static QByteArray storedRefreshToken(const QString &configFolder);

    void setEnvironment(const QProcessEnvironment &environment) { m_environment = environment; }
    QProcessEnvironment environment() const { return m_environment; }
    void setWorkingDirectory(const QString &folder) { m_workingDirectory = folder; }

    // setUp, if given, sets the process up further before it starts: its environment, say, or
    // its standard streams.
    Run run(const QStringList &arguments, const QByteArray &input = QByteArray(),
            const std::function<void(QProcess &)> &setUp = {}) const;

private:
    QString m_program;
    QProcessEnvironment m_environment;
    QString m_workingDirectory;
};

#endif // GDAPPRUNNER_H
