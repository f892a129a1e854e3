// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef COMMANDLINE_H
#define COMMANDLINE_H

#include "outcome.h"
#include "reporter.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QList>
#include <QStringList>

#include <memory>

class Commands;
class ProviderSession;

// gdapp's command line: the global options, the table of commands with their own options and
// number of arguments, help and usage errors; the command chosen then runs over a provider
// session.
class CommandLine
{
public:
    explicit CommandLine(const QStringList &arguments);
    ~CommandLine();

    int run();

    // Commands that show the chooser and so need a GUI application.
    static bool wantsWidgets(const QStringList &arguments);
    static bool isVerbose(const QStringList &arguments);

private:
    using Command = Outcome (Commands::*)(const QStringList &);
    // What a command's help lists under "Arguments:".
    struct Argument
    {
        const char *name;
        const char *description;
        const char *syntax;
    };
    struct CommandInfo
    {
        const char *name;
        const char *synopsis;
        const char *description;
        Command run;
        QList<QCommandLineOption> options = {};
        int minArguments = 0;
        int maxArguments = 0;
        const char *arguments = "no arguments"; // what "NAME takes ..." says when they are wrong
        QList<Argument> positional = {};
    };

    static QList<CommandInfo> commands();
    void addGlobalOptions();
    // The command named, run, or why the command line cannot be.
    Outcome chooseCommand();
    Outcome runCommand(const CommandInfo &command);
    // Help and version go out as any output does, so that a write error is told.
    static Outcome show(const QString &text);

    QStringList m_arguments;
    QCommandLineParser m_parser;
    Reporter m_reporter;
    // Kept until gdapp has said how the command ended.
    std::unique_ptr<ProviderSession> m_session;
};

#endif // COMMANDLINE_H
