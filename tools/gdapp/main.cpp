// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "commandline.h"
#include "exitcode.h"
#include "standardstreams.h"

#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QLibraryInfo>
#include <QLocale>
#include <QTextStream>
#include <QTranslator>

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
// The plug-in's texts, in the chooser and in its error messages, in the user's language (Qt reads
// LANGUAGE, LC_ALL, LC_MESSAGES and LANG), from the build tree or beside the installed programs;
// and Qt's own, for the chooser's standard buttons. French, the plug-in's language, where there
// is no catalogue.
void installTranslations(QCoreApplication &application)
{
    const QDir programs(QCoreApplication::applicationDirPath());
    const QStringList folders { QStringLiteral(GDAPP_BUILD_TRANSLATIONS_DIR),
                                programs.absoluteFilePath(
                                        QStringLiteral("../" GDAPP_INSTALL_TRANSLATIONS_DIR)) };
    for (const QString &folder : folders) {
        auto *plugin = new QTranslator(&application);
        if (plugin->load(QLocale(), QStringLiteral("gdapp"), QStringLiteral("_"), folder)) {
            QCoreApplication::installTranslator(plugin);
            break;
        }
        delete plugin;
    }
    auto *qt = new QTranslator(&application);
    if (qt->load(QLocale(), QStringLiteral("qtbase"), QStringLiteral("_"),
                 QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(qt);
    else
        delete qt;
}
} // namespace

int main(int argc, char *argv[])
{
    StandardStreams::holdClosedOnes();
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
            return int(ExitCode::Failure);
        }
        application = std::make_unique<QApplication>(argc, argv);
    } else {
        application = std::make_unique<QCoreApplication>(argc, argv);
    }
    // The plug-in keeps its tokens in the host application's settings: these are gdapp's.
    QCoreApplication::setOrganizationName(QStringLiteral("Tarnwick"));
    QCoreApplication::setApplicationName(QStringLiteral("gdapp"));
    QCoreApplication::setApplicationVersion(QStringLiteral(GDAPP_VERSION));
    installTranslations(*application);

    return CommandLine(QCoreApplication::arguments()).run();
}
