// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "gdapprunner.h"

#include <QDir>
#include <QFile>
#include <QProcess>

namespace {
constexpr int Deadline = 120000; // milliseconds; generous for the sanitizer and memcheck builds
} // namespace

GdappRunner::GdappRunner(const QString &program)
    : m_program(program), m_environment(QProcessEnvironment::systemEnvironment())
{
}

QProcessEnvironment GdappRunner::environmentFor(const QUrl &service, const QString &configFolder)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("GDAPP_DRIVE_URL"), service.toString());
    environment.insert(QStringLiteral("GDAPP_OAUTH_URL"), service.toString());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), configFolder);
    for (const char *name : { "DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "GDAPP_PLUGIN_PATH",
                              "GDAPP_CA_FILE", "GDAPP_BROWSER", "LANGUAGE", "LC_MESSAGES", "LANG" })
        environment.remove(QLatin1String(name));
    // The plug-in's own language, French, whatever the machine's.
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    return environment;
}

QByteArray GdappRunner::storedRefreshToken(const QString &configFolder)
{
    QFile settings(QDir(configFolder).filePath(QStringLiteral("Tarnwick/gdapp.conf")));
    if (!settings.open(QIODevice::ReadOnly))
        return QByteArray();
    for (const QByteArray &line : settings.readAll().split('\n')) {
        if (line.startsWith("refreshtoken="))
            return line;
    }
    return QByteArray();
}

GdappRunner::Run GdappRunner::run(const QStringList &arguments, const QByteArray &input,
                                  const std::function<void(QProcess &)> &setUp) const
{
    QProcess process;
    process.setProcessEnvironment(m_environment);
    process.setWorkingDirectory(m_workingDirectory); // empty: this process's own
    if (setUp)
        setUp(process);
    process.start(m_program,
                  QStringList { QStringLiteral("--consent"), QStringLiteral("fetch") } + arguments);
    process.write(input);
    process.closeWriteChannel();
    Run run;
    if (!process.waitForFinished(Deadline)) {
        process.kill();
        process.waitForFinished();
    } else {
        run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    }
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}
