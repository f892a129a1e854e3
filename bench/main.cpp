// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "benchchild.h"
#include "benchreport.h"
#include "benchrunner.h"
#include "consentbrowser.h"
#include "processmeasure.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

namespace {
QList<int> numbers(const QString &text)
{
    QList<int> values;
    for (const QString &part : text.split(QLatin1Char(','), Qt::SkipEmptyParts))
        values.append(part.toInt());
    return values;
}

QString text(const QList<int> &numbers)
{
    QStringList parts;
    for (int number : numbers)
        parts.append(QString::number(number));
    return parts.join(QLatin1Char(','));
}
} // namespace

int main(int argc, char *argv[])
{
    const bool child = argc > 1 && qstrcmp(argv[1], "child") == 0;
    if (!child)
        ProcessMeasure::startLauncher();
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (child) {
        // Consents in a child come from the emulator, which approves them by itself.
        ConsentBrowser browser;
        QCoreApplication::setOrganizationName(QStringLiteral("Tarnwick"));
        QCoreApplication::setApplicationName(QStringLiteral("gdapp-bench"));
        return BenchChild(arguments.mid(2)).run();
    }

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
            "Measures the plug-in against the emulator, straight and through nginx with TLS and "
            "HTTP/2, beside references in the same run (a server that only serves or discards "
            "bytes, reached by curl and by Qt's plain request; curl --http2 through the same "
            "nginx), and prints a Markdown table."));
    parser.addHelpOption();
    const BenchRunner::Options defaults;
    const QCommandLineOption sizes(QStringLiteral("sizes"),
                                   QStringLiteral("Transfer sizes in MiB."), QStringLiteral("list"),
                                   text(defaults.sizesMiB));
    const QCommandLineOption frontEndSizes(
            QStringLiteral("front-end-sizes"),
            QStringLiteral("Transfer sizes in MiB through nginx (empty: none)."),
            QStringLiteral("list"), text(defaults.frontEndSizesMiB));
    const QCommandLineOption depths(QStringLiteral("depths"), QStringLiteral("Path depths."),
                                    QStringLiteral("list"), text(defaults.depths));
    const QCommandLineOption entries(
            QStringLiteral("entries"), QStringLiteral("Entries in the listed folder."),
            QStringLiteral("count"), QString::number(defaults.listEntries));
    const QCommandLineOption runs(QStringLiteral("runs"), QStringLiteral("Runs per case."),
                                  QStringLiteral("count"), QString::number(defaults.runs));
    const QCommandLineOption bigRuns(
            QStringLiteral("big-runs"),
            QStringLiteral("Runs per case of %1 MiB and more.").arg(BenchTargets::SizeMiB),
            QStringLiteral("count"), QString::number(defaults.bigRuns));
    const QCommandLineOption smoke(
            QStringLiteral("smoke"),
            QStringLiteral("One run of the smallest cases, to check that it works."));
    parser.addOptions({ sizes, frontEndSizes, depths, entries, runs, bigRuns, smoke });
    parser.process(application);

    BenchRunner::Options options;
    options.program = QCoreApplication::applicationFilePath();
    options.referenceServer = QStringLiteral(GDAPP_REFERENCE_SERVER);
    options.sizesMiB = numbers(parser.value(sizes));
    options.frontEndSizesMiB = numbers(parser.value(frontEndSizes));
    options.depths = numbers(parser.value(depths));
    options.listEntries = parser.value(entries).toInt();
    options.runs = parser.value(runs).toInt();
    options.bigRuns = parser.value(bigRuns).toInt();
    if (parser.isSet(smoke)) {
        options.sizesMiB = { 1 };
        options.frontEndSizesMiB = { 1 };
        options.depths = { 1 };
        options.listEntries = 10;
        options.runs = options.bigRuns = 1;
    }
    BenchRunner runner(options);
    if (!runner.run())
        return 1;
    QTextStream(stdout) << BenchReport(options.runs, options.bigRuns).markdown(runner.cases());
    return runner.complete() ? 0 : 1;
}
