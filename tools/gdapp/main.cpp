// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "commandline.h"
#include "exitcode.h"

#include <QApplication>
#include <QCoreApplication>
#include <QTextStream>

#include <memory>

namespace {
// Without --verbose only what is critical reaches the terminal: gdapp reports failures itself.
void quiet(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtCriticalMsg || type == QtFatalMsg)
        QTextStream(stderr) << text << Qt::endl;
}

bool hasDisplay()
{
    return qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY")
            || qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
}
} // namespace

int main(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    if (!CommandLine::isVerbose(arguments))
        qInstallMessageHandler(quiet);

    const bool help =
            arguments.contains(QLatin1String("--help")) || arguments.contains(QLatin1String("-h"));
    std::unique_ptr<QCoreApplication> application;
    if (CommandLine::wantsWidgets(arguments) && !help) {
        if (!hasDisplay()) {
            QTextStream(stderr)
                    << "gdapp: the chooser needs a display (DISPLAY, WAYLAND_DISPLAY or "
                       "QT_QPA_PLATFORM)"
                    << Qt::endl;
            return Failure;
        }
        application = std::make_unique<QApplication>(argc, argv);
    } else {
        application = std::make_unique<QCoreApplication>(argc, argv);
    }
    // The plug-in keeps its tokens in the host application's settings: these are gdapp's.
    QCoreApplication::setOrganizationName(QStringLiteral("Tarnwick"));
    QCoreApplication::setApplicationName(QStringLiteral("gdapp"));
    QCoreApplication::setApplicationVersion(QStringLiteral(GDAPP_VERSION));

    return CommandLine(QCoreApplication::arguments()).run();
}
