// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "commandline.h"

#include "commands.h"
#include "networkoptions.h"
#include "providersession.h"

#include <algorithm>

namespace {
// How an authorisation request can be answered, as --consent names the ways, the default first.
struct ConsentMode
{
    const char *name;
    ConsentHandler::Mode mode;
    const char *description;
};
const ConsentMode ConsentModes[] = {
    { "browser", ConsentHandler::Browser, "print the address and open a browser, the default" },
    { "print", ConsentHandler::Print, "only print it" },
    { "fetch", ConsentHandler::Fetch, "fetch it, for an emulator started with --auto-approve" },
    { "none", ConsentHandler::None, "end with status 4 instead: for scripts" },
};

// "a, b, c or d"
QString alternatives(QStringList items)
{
    const QString last = items.takeLast();
    return items.join(QLatin1String(", ")) + QLatin1String(" or ") + last;
}

// The consent modes' names, with what each does when described.
QString consentModeList(bool described)
{
    QStringList modes;
    for (const ConsentMode &mode : ConsentModes)
        modes += described ? QStringLiteral("%1 (%2)").arg(QLatin1String(mode.name),
                                                           QLatin1String(mode.description))
                           : QLatin1String(mode.name);
    return alternatives(modes);
}

const ConsentMode *consentMode(const QString &name)
{
    for (const ConsentMode &mode : ConsentModes) {
        if (name == QLatin1String(mode.name))
            return &mode;
    }
    return nullptr;
}
} // namespace

CommandLine::CommandLine(const QStringList &arguments) : m_arguments(arguments) { }

CommandLine::~CommandLine() = default;

bool CommandLine::wantsWidgets(const QStringList &arguments)
{
    return arguments.contains(QLatin1String("open-dialog"))
            || arguments.contains(QLatin1String("save-dialog"));
}

bool CommandLine::isVerbose(const QStringList &arguments)
{
    return arguments.contains(QLatin1String("--verbose"));
}

QList<CommandLine::CommandInfo> CommandLine::commands()
{
    const QCommandLineOption recursive({ QStringLiteral("r"), QStringLiteral("recursive") },
                                       QStringLiteral("Remove a folder with everything in it."));
    const QCommandLineOption parents({ QStringLiteral("p"), QStringLiteral("parents") },
                                     QStringLiteral("Make missing folders above it too."));
    const QCommandLineOption filter(
            QStringLiteral("filter"),
            QStringLiteral("Name filters, as \"Textes (*.txt);;Tout (*)\"."),
            QStringLiteral("filters"));
    const QCommandLineOption caption(QStringLiteral("caption"), QStringLiteral("Window title."),
                                     QStringLiteral("text"));
    return {
        { "ls",
          "ls [URL]",
          "List a folder (gdapp:/ when none is given), or show one file. Control characters in "
          "names are shown escaped as in C (\\n, \\t, \\x1b), and a backslash as \\\\, so each "
          "entry takes one line.",
          &Commands::ls,
          {},
          0,
          1,
          "one URL at most",
          { { "URL", "The folder to list, or a file (default: gdapp:/).", "[URL]" } } },
        { "stat",
          "stat URL",
          "Show what the service knows of a file or folder.",
          &Commands::stat,
          {},
          1,
          1,
          "one URL",
          { { "URL", "The file or folder; with a trailing /, a folder.", "URL" } } },
        { "get",
          "get URL [FILE|-]",
          "Download a file into FILE (the remote name in the current folder by default), or to "
          "standard output with -. A failed download leaves no local file.",
          &Commands::get,
          {},
          1,
          2,
          "a URL and, optionally, where to put it",
          { { "URL", "The file to download.", "URL" },
            { "FILE",
              "Where to put it: a file, a local folder to keep the remote name in, or - "
              "for standard output (default: the remote name, in the current folder).",
              "[FILE|-]" } } },
        { "put",
          "put FILE|- URL",
          "Upload FILE (standard input with -) to URL, replacing the content of an existing file. "
          "A URL that ends with / or names a folder gets the local file's name. An existing file "
          "takes up to 2147483647 bytes; a new one up to 2147483648 less the metadata sent with "
          "it: 240 bytes, its name (in UTF-8, escaped as JSON) and its folder's identifier. With "
          "no answer within --timeout once the upload was sent, the service may have stored it.",
          &Commands::put,
          {},
          2,
          2,
          "a local file (or -) and a URL",
          { { "FILE", "The file to upload, or - for standard input.", "FILE|-" },
            { "URL",
              "Where to: a file, or a folder (written with a trailing /) to keep the local "
              "name in.",
              "URL" } } },
        { "cp",
          "cp URL URL",
          "Copy a file. The copy is made beside the source, so both URLs name the same folder "
          "(a destination ending with / names the folder and keeps the source's name); an "
          "existing file or folder of the new name is refused.",
          &Commands::cp,
          {},
          2,
          2,
          "two URLs",
          { { "SOURCE", "The file to copy.", "URL" },
            { "DESTINATION", "The copy, in the same folder; or that folder, with a trailing /.",
              "URL" } } },
        { "mv",
          "mv URL URL",
          "Rename a file within its folder. An existing file of the new name is replaced: it is "
          "first renamed aside, to .gdapp-replaced-XXXX in the same folder, and removed once the "
          "file has its name, so that a failed mv leaves it as it was (or says where it is). A "
          "folder of that name is refused.",
          &Commands::mv,
          {},
          2,
          2,
          "two URLs",
          { { "SOURCE", "The file or folder to rename.", "URL" },
            { "DESTINATION", "Its new name, in the same folder.", "URL" } } },
        { "rm",
          "rm [-r] URL",
          "Remove a file, or a folder and everything in it with -r.",
          &Commands::rm,
          { recursive },
          1,
          1,
          "one URL",
          { { "URL", "The file or folder to remove.", "[-r] URL" } } },
        { "mkdir",
          "mkdir [-p] URL",
          "Make a folder.",
          &Commands::mkdir,
          { parents },
          1,
          1,
          "one URL",
          { { "URL", "The folder to make.", "[-p] URL" } } },
        { "open-dialog",
          "open-dialog [--filter F] [--caption T]",
          "Show the chooser to open a file and print the URL chosen.",
          &Commands::openDialog,
          { filter, caption } },
        { "save-dialog",
          "save-dialog [--filter F] [--caption T]",
          "Show the chooser to save a file and print the URL chosen.",
          &Commands::saveDialog,
          { filter, caption } },
        { "login", "login",
          "Ask for a new authorisation. The stored one is kept until the new one is granted.",
          &Commands::login },
        { "logout", "logout", "Forget the stored authorisation (the tokens of group gdapp).",
          &Commands::logout },
    };
}

void CommandLine::addGlobalOptions()
{
    QString description = QStringLiteral(
            "Works with the files that Tarnwick keeps in the application-data folder of a Google "
            "Drive account, through the gdapp storage provider plug-in.\n\nCommands:\n");
    for (const CommandInfo &command : commands()) {
        const QString summary =
                QString::fromUtf8(command.description).section(QLatin1Char('.'), 0, 0);
        description +=
                QStringLiteral("  %1%2.\n").arg(QLatin1String(command.synopsis), -42).arg(summary);
    }
    description += QStringLiteral(
            "\nURLs look like gdapp:/folder/name, a trailing / naming a folder. A space is written "
            "as it is; %XX escapes a character (%3F a ?, %23 a #). Names with ', +, \\ or an "
            "escape such as %20 in them are refused: the plug-in's lookups could not find them "
            "again. \"gdapp COMMAND --help\" tells more about one command.\nExit status: ");
    description += exitStatusSummary();
    description += QStringLiteral(
            ".\nThe plug-in's texts, in the chooser and its error messages, follow the user's "
            "language (LANGUAGE, LC_ALL, LC_MESSAGES, LANG): English, German, else French, the "
            "plug-in's own. LANGUAGE=de gdapp ... forces German.\n");
    description += NetworkOptions::description();
    m_parser.setApplicationDescription(description);
    m_parser.addHelpOption();
    m_parser.addVersionOption();
    m_parser.addOption(
            { QStringLiteral("plugin"),
              QStringLiteral("The plug-in to load (default: GDAPP_PLUGIN_PATH, the build "
                             "tree, then the installed plug-in folder)."),
              QStringLiteral("path") });
    m_parser.addOption({ QStringLiteral("consent"),
                         QStringLiteral("How to answer an authorisation request: %1.")
                                 .arg(consentModeList(true)),
                         QStringLiteral("mode"), QLatin1String(ConsentModes[0].name) });
    m_parser.addOption({ QStringLiteral("browser"),
                         QStringLiteral("The browser command to open the consent address with "
                                        "(default: GDAPP_BROWSER, then the desktop's browser)."),
                         QStringLiteral("command") });
    m_parser.addOption(
            { QStringLiteral("cacert"),
              QStringLiteral("Trust the certificate authorities in this PEM file too, besides "
                             "the system's (default: GDAPP_CA_FILE)."),
              QStringLiteral("file") });
    m_parser.addOptions(NetworkOptions::options());
    m_parser.addOption({ QStringLiteral("verbose"),
                         QStringLiteral("Show the plug-in's and Qt's diagnostics, and which "
                                        "proxy, if any, each service is reached through.") });
}

int CommandLine::run()
{
    // However the command line ends, it is told here, once.
    return m_reporter.report(chooseCommand());
}

Outcome CommandLine::chooseCommand()
{
    addGlobalOptions();
    m_parser.addPositionalArgument(QStringLiteral("command"),
                                   QStringLiteral("What to do (see above)."),
                                   QStringLiteral("<command> [arguments]"));
    const bool parsed = m_parser.parse(m_arguments);
    if (m_parser.isSet(QStringLiteral("version")))
        return show(QCoreApplication::applicationName() + QLatin1Char(' ')
                    + QCoreApplication::applicationVersion() + QLatin1Char('\n'));
    const QStringList positional = m_parser.positionalArguments();
    if (positional.isEmpty()) {
        if (m_parser.isSet(QStringLiteral("help")))
            return show(m_parser.helpText());
        return Outcome::usage(parsed ? QStringLiteral("no command given") : m_parser.errorText());
    }
    const QList<CommandInfo> known = commands();
    const auto command =
            std::find_if(known.cbegin(), known.cend(), [&positional](const CommandInfo &info) {
                return positional.first() == QLatin1String(info.name);
            });
    if (command == known.cend())
        return Outcome::usage(QStringLiteral("unknown command \"%1\"").arg(positional.first()));
    return runCommand(*command);
}

Outcome CommandLine::show(const QString &text)
{
    Reporter::out() << text;
    return Commands::finishOutput();
}

Outcome CommandLine::runCommand(const CommandInfo &command)
{
    const QString name = QLatin1String(command.name);
    m_reporter.setCommand(name);
    m_parser.clearPositionalArguments();
    m_parser.setApplicationDescription(QLatin1String(command.description));
    // The command's own arguments, and the command itself on the usage line.
    for (const Argument &argument : command.positional)
        m_parser.addPositionalArgument(
                QLatin1String(argument.name), QLatin1String(argument.description),
                (&argument == &command.positional.first() ? name + QLatin1Char(' ') : QString())
                        + QLatin1String(argument.syntax));
    if (command.positional.isEmpty())
        m_parser.addPositionalArgument(name, QLatin1String(command.description),
                                       QLatin1String(command.synopsis));
    m_parser.addOptions(command.options);
    if (!m_parser.parse(m_arguments))
        return Outcome::usage(m_parser.errorText());
    if (m_parser.isSet(QStringLiteral("help")))
        return show(m_parser.helpText());
    const ConsentMode *consent = consentMode(m_parser.value(QStringLiteral("consent")));
    if (!consent)
        return Outcome::usage(QStringLiteral("--consent takes %1").arg(consentModeList(false)));
    const QStringList arguments = m_parser.positionalArguments().mid(1);
    if (arguments.size() < command.minArguments || arguments.size() > command.maxArguments)
        return Outcome::usage(
                QStringLiteral("%1 takes %2").arg(name, QLatin1String(command.arguments)));

    NetworkOptions network(m_parser);
    if (!network.isValid())
        return Outcome::usage(network.errorString());
    network.installProxyFactory();

    m_session = std::make_unique<ProviderSession>(ProviderSession::Options {
            m_parser.value(QStringLiteral("plugin")), consent->mode,
            m_parser.value(QStringLiteral("browser")), m_parser.value(QStringLiteral("cacert")),
            network.timeout() });
    m_reporter.setExchanges(&m_session->exchanges());
    Commands commands(m_parser, *m_session, m_reporter);
    return (commands.*(command.run))(arguments);
}
