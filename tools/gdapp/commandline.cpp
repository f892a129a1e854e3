#include "commandline.h"

#include "cloudfile.h"
#include "exitcode.h"
#include "listingcollector.h"
#include "serverinterface.h"
#include "transferprogress.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QDir>
#include <QNetworkReply>
#include <QSaveFile>
#include <QSettings>
#include <QTextStream>

#include <limits>

namespace {
const QString Scheme = QStringLiteral("gdapp");
// The plug-in reports an unresolved path with this code.
constexpr int PathNotResolved = 403;
constexpr int ChecksumFailed = 299;
constexpr qint64 ChunkSize = 4 * 1024 * 1024;

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream &err()
{
    static QTextStream stream(stderr);
    return stream;
}

// The plug-in marks a path it could not resolve with the code of its last lookup, and so does a
// lookup that failed. Only a lookup that worked leaves the reply's text for "no error".
bool lastLookupWorked(const CloudFile *file)
{
    return file->errorString() == QIODevice::tr("Unknown error");
}

QString describe(const CloudObject *object)
{
    const QString modified = object->lastModified().isValid()
            ? object->lastModified().toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"))
            : QStringLiteral("-");
    const QString size =
            object->isFolder() ? QStringLiteral("-") : QString::number(object->bytes());
    return QStringLiteral("%1 %2  %3  %4%5")
            .arg(object->isFolder() ? QLatin1Char('d') : QLatin1Char('-'))
            .arg(size, 12)
            .arg(modified, 16)
            .arg(object->fileName(), object->isFolder() ? QStringLiteral("/") : QString());
}

QString folderOf(const QUrl &url)
{
    const QString folder = url.path().section(QLatin1Char('/'), 0, -2);
    return folder.isEmpty() ? QStringLiteral("/") : folder;
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
          "List a folder (gdapp:/ when none is given), or show one file.",
          &CommandLine::ls,
          {} },
        { "stat",
          "stat URL",
          "Show what the service knows of a file or folder.",
          &CommandLine::stat,
          {} },
        { "get",
          "get URL [FILE|-]",
          "Download a file into FILE (the remote name in the current folder by default), or to "
          "standard output with -. A failed download leaves no local file.",
          &CommandLine::get,
          {} },
        { "put",
          "put FILE|- URL",
          "Upload FILE (standard input with -) to URL, replacing the content of an existing file. "
          "A URL that ends with / or names a folder gets the local file's name.",
          &CommandLine::put,
          {} },
        { "cp",
          "cp URL URL",
          "Copy a file. The copy is made beside the source, so both URLs name the same folder.",
          &CommandLine::cp,
          {} },
        { "mv",
          "mv URL URL",
          "Rename a file within its folder; a file of the new name is replaced.",
          &CommandLine::mv,
          {} },
        { "rm",
          "rm [-r] URL",
          "Remove a file, or a folder and everything in it with -r.",
          &CommandLine::rm,
          { recursive } },
        { "mkdir", "mkdir [-p] URL", "Make a folder.", &CommandLine::mkdir, { parents } },
        { "open-dialog",
          "open-dialog [--filter F] [--caption T]",
          "Show the chooser to open a file and print the URL chosen.",
          &CommandLine::openDialog,
          { filter, caption } },
        { "save-dialog",
          "save-dialog [--filter F] [--caption T]",
          "Show the chooser to save a file and print the URL chosen.",
          &CommandLine::saveDialog,
          { filter, caption } },
        { "login",
          "login",
          "Ask for a new authorisation, forgetting the stored one.",
          &CommandLine::login,
          {} },
        { "logout",
          "logout",
          "Forget the stored authorisation (the tokens of group gdapp).",
          &CommandLine::logout,
          {} },
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
            "\nURLs look like gdapp:/folder/name. \"gdapp COMMAND --help\" tells more about one "
            "command.\nExit status: 0 done, 1 failed, 2 bad usage, 3 not found, 4 not authorised, "
            "5 network or service error, 6 corrupted data.");
    m_parser.setApplicationDescription(description);
    m_parser.addHelpOption();
    m_parser.addVersionOption();
    m_parser.addOption(
            { QStringLiteral("plugin"),
              QStringLiteral("The plug-in to load (default: GDAPP_PLUGIN_PATH, the build "
                             "tree, then the installed plug-in folder)."),
              QStringLiteral("path") });
    m_parser.addOption(
            { QStringLiteral("consent"),
              QStringLiteral("How to answer an authorisation request: browser (print the "
                             "address and open a browser, the default), print (only print "
                             "it) or fetch (fetch it, for an emulator started with "
                             "--auto-approve)."),
              QStringLiteral("mode"), QStringLiteral("browser") });
    m_parser.addOption({ QStringLiteral("browser"),
                         QStringLiteral("The browser command to open the consent address with "
                                        "(default: GDAPP_BROWSER, then the desktop's browser)."),
                         QStringLiteral("command") });
    m_parser.addOption({ QStringLiteral("verbose"),
                         QStringLiteral("Show the plug-in's and Qt's diagnostics.") });
}

int CommandLine::usage(const QString &message)
{
    err() << "gdapp: " << message << Qt::endl
          << "Try \"gdapp " << (m_command.isEmpty() ? QString() : m_command + QLatin1Char(' '))
          << "--help\"." << Qt::endl;
    return UsageError;
}

int CommandLine::run()
{
    addGlobalOptions();
    m_parser.addPositionalArgument(QStringLiteral("command"),
                                   QStringLiteral("What to do (see above)."),
                                   QStringLiteral("<command> [arguments]"));
    const bool parsed = m_parser.parse(m_arguments);
    if (m_parser.isSet(QStringLiteral("version")))
        m_parser.showVersion();
    const QStringList positional = m_parser.positionalArguments();
    if (positional.isEmpty()) {
        if (m_parser.isSet(QStringLiteral("help")))
            m_parser.showHelp(Success);
        return usage(parsed ? QStringLiteral("no command given") : m_parser.errorText());
    }
    const QList<CommandInfo> known = commands();
    const auto command =
            std::find_if(known.cbegin(), known.cend(), [&positional](const CommandInfo &info) {
                return positional.first() == QLatin1String(info.name);
            });
    if (command == known.cend())
        return usage(QStringLiteral("unknown command \"%1\"").arg(positional.first()));
    m_command = positional.first();

    m_parser.clearPositionalArguments();
    m_parser.setApplicationDescription(QLatin1String(command->description));
    m_parser.addPositionalArgument(m_command, QLatin1String(command->description),
                                   QLatin1String(command->synopsis));
    m_parser.addOptions(command->options);
    if (!m_parser.parse(m_arguments))
        return usage(m_parser.errorText());
    if (m_parser.isSet(QStringLiteral("help")))
        m_parser.showHelp(Success);

    static const QStringList modes { QStringLiteral("browser"), QStringLiteral("fetch"),
                                     QStringLiteral("print") };
    if (!modes.contains(m_parser.value(QStringLiteral("consent"))))
        return usage(QStringLiteral("--consent takes browser, print or fetch"));
    return (this->*(command->run))(m_parser.positionalArguments().mid(1));
}

std::unique_ptr<CloudFile> CommandLine::open(const QUrl &url, int *exitCode)
{
    if (!m_server) {
        m_locator = std::make_unique<PluginLocator>(m_parser.value(QStringLiteral("plugin")));
        m_server = m_locator->load();
        if (!m_server) {
            *exitCode = fail(m_locator->errorString(), Failure);
            return nullptr;
        }
        const QString mode = m_parser.value(QStringLiteral("consent"));
        QString browser = m_parser.value(QStringLiteral("browser"));
        if (browser.isEmpty())
            browser = qEnvironmentVariable("GDAPP_BROWSER");
        m_consent = std::make_unique<ConsentHandler>(
                mode == QLatin1String("fetch")           ? ConsentHandler::Fetch
                        : mode == QLatin1String("print") ? ConsentHandler::Print
                                                         : ConsentHandler::Browser,
                browser);
        // The flow waits for its answer in loops of its own; when none can come, end them all.
        QObject::connect(m_consent.get(), &ConsentHandler::consentAbandoned,
                         [this](const QString &why) {
                             m_consentFailure = why;
                             QCoreApplication::exit(NotAuthorised);
                         });
    }
    std::unique_ptr<CloudFile> file(m_server->cloudFile(url));
    if (!file) {
        *exitCode =
                fail(QStringLiteral("not authorised: %1")
                             .arg(m_consentFailure.isEmpty()
                                          ? QStringLiteral("the authorisation did not go through")
                                          : m_consentFailure),
                     NotAuthorised);
    }
    return file;
}

std::unique_ptr<CloudObject> CommandLine::root(CloudFile *file)
{
    return std::unique_ptr<CloudObject>(file->getCloudObject());
}

std::unique_ptr<CloudObject> CommandLine::resolve(CloudFile *file, const QUrl &url, int *exitCode)
{
    if (url.path().isEmpty() || url.path() == QLatin1String("/"))
        return root(file);
    int status = 0;
    std::unique_ptr<CloudObject> object(file->getObjectFromPath(url, status));
    if (status == 2)
        return object;
    *exitCode = fail(url.toString(), file);
    return nullptr;
}

int CommandLine::fail(const QString &message, int exitCode)
{
    err() << "gdapp: " << m_command << ": " << message << Qt::endl;
    return exitCode;
}

// Reports the file's last error with the exit status that matches it.
int CommandLine::fail(const QString &what, CloudFile *file)
{
    const int code = file->errorCode();
    int exitCode = ServiceError;
    QString reason = file->errorString();
    if (code == PathNotResolved && lastLookupWorked(file)) {
        exitCode = NotFound;
        reason = QStringLiteral("no such file or folder");
    } else if (code == QNetworkReply::ContentNotFoundError) {
        exitCode = NotFound;
    } else if (code == QNetworkReply::AuthenticationRequiredError) {
        exitCode = NotAuthorised;
    } else if (code == ChecksumFailed) {
        exitCode = CorruptedData;
    }
    return fail(QStringLiteral("%1: %2 [error %3]").arg(what, reason).arg(code), exitCode);
}

QUrl CommandLine::remoteUrl(const QString &text, int *exitCode)
{
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != Scheme || !url.host().isEmpty()) {
        *exitCode = usage(QStringLiteral("\"%1\" is not a gdapp:/path URL").arg(text));
        return QUrl();
    }
    return url;
}

bool CommandLine::sameFolder(const QUrl &a, const QUrl &b) const
{
    return folderOf(a) == folderOf(b);
}

int CommandLine::ls(const QStringList &arguments)
{
    if (arguments.size() > 1)
        return usage(QStringLiteral("ls takes one URL at most"));
    int exitCode = Success;
    const QUrl url = remoteUrl(arguments.value(0, QStringLiteral("gdapp:/")), &exitCode);
    if (url.isEmpty())
        return exitCode;
    auto file = open(url, &exitCode);
    if (!file)
        return exitCode;
    auto object = resolve(file.get(), url, &exitCode);
    if (!object)
        return exitCode;
    if (!object->isFolder()) {
        out() << describe(object.get()) << Qt::endl;
        return Success;
    }
    ListingCollector listing;
    QObject::connect(file.get(), SIGNAL(objectList(QList<CloudObject *>)), &listing,
                     SLOT(collect(QList<CloudObject *>)));
    if (!file->listObjects(object.get()))
        return fail(url.toString(), file.get());
    for (const CloudObject *entry : listing.objects())
        out() << describe(entry) << Qt::endl;
    return Success;
}

int CommandLine::stat(const QStringList &arguments)
{
    if (arguments.size() != 1)
        return usage(QStringLiteral("stat takes one URL"));
    int exitCode = Success;
    const QUrl url = remoteUrl(arguments.first(), &exitCode);
    if (url.isEmpty())
        return exitCode;
    auto file = open(url, &exitCode);
    if (!file)
        return exitCode;
    auto object = resolve(file.get(), url, &exitCode);
    if (!object)
        return exitCode;
    out() << "url:      " << url.toString() << Qt::endl
          << "type:     " << (object->isFolder() ? "folder" : "file") << Qt::endl
          << "name:     " << object->fileName() << Qt::endl
          << "id:       " << object->id() << Qt::endl
          << "mimeType: " << object->contentType() << Qt::endl
          << "size:     "
          << (object->isFolder() ? QStringLiteral("-") : QString::number(object->bytes()))
          << Qt::endl
          << "modified: " << object->lastModified().toUTC().toString(Qt::ISODateWithMs) << Qt::endl
          << "md5:      " << object->etag() << Qt::endl;
    return Success;
}

int CommandLine::get(const QStringList &arguments)
{
    if (arguments.isEmpty() || arguments.size() > 2)
        return usage(QStringLiteral("get takes a URL and, optionally, where to put it"));
    int exitCode = Success;
    const QUrl url = remoteUrl(arguments.first(), &exitCode);
    if (url.isEmpty())
        return exitCode;
    const bool toStandardOutput = arguments.value(1) == QLatin1String("-");
    QString target = arguments.value(1, url.fileName());
    if (!toStandardOutput && QFileInfo(target).isDir())
        target = QDir(target).filePath(url.fileName());
    if (!toStandardOutput && target.isEmpty())
        return usage(QStringLiteral("%1 names no file").arg(url.toString()));

    auto file = open(url, &exitCode);
    if (!file)
        return exitCode;
    {
        TransferProgress progress(QStringLiteral("get"));
        QObject::connect(file.get(), SIGNAL(progress(int)), &progress, SLOT(setPercent(int)));
        if (!file->open(QIODevice::ReadOnly))
            return fail(url.toString(), file.get());
    }

    // Written beside the target and renamed over it once complete.
    QSaveFile local(target);
    QFile standardOutput;
    QIODevice *sink = &local;
    if (toStandardOutput) {
        standardOutput.open(stdout, QIODevice::WriteOnly);
        sink = &standardOutput;
    } else if (!local.open(QIODevice::WriteOnly)) {
        return fail(QStringLiteral("%1: %2").arg(target, local.errorString()), Failure);
    }
    QByteArray chunk;
    while (!(chunk = file->read(ChunkSize)).isEmpty()) {
        if (sink->write(chunk) != chunk.size()) {
            local.cancelWriting();
            return fail(QStringLiteral("%1: %2").arg(
                                toStandardOutput ? QStringLiteral("standard output") : target,
                                sink->errorString()),
                        Failure);
        }
    }
    if (!toStandardOutput && !local.commit())
        return fail(QStringLiteral("%1: %2").arg(target, local.errorString()), Failure);
    return Success;
}

int CommandLine::put(const QStringList &arguments)
{
    if (arguments.size() != 2)
        return usage(QStringLiteral("put takes a local file (or -) and a URL"));
    int exitCode = Success;
    QUrl url = remoteUrl(arguments.at(1), &exitCode);
    if (url.isEmpty())
        return exitCode;
    const QString source = arguments.first();
    QFile input;
    const bool fromStandardInput = source == QLatin1String("-");
    const bool opened = fromStandardInput
            ? input.open(stdin, QIODevice::ReadOnly)
            : (input.setFileName(source), input.open(QIODevice::ReadOnly));
    if (!opened)
        return fail(QStringLiteral("%1: %2").arg(source, input.errorString()), Failure);

    auto file = open(url, &exitCode);
    if (!file)
        return exitCode;
    // Into a folder: keep the local name.
    if (url.path().endsWith(QLatin1Char('/'))) {
        if (fromStandardInput)
            return usage(QStringLiteral("give the remote file a name when reading standard input"));
        url.setPath(url.path() + QFileInfo(source).fileName());
    } else {
        int status = 0;
        std::unique_ptr<CloudObject> existing(file->getObjectFromPath(url, status));
        if (status == 2 && existing->isFolder() && !fromStandardInput)
            url.setPath(url.path() + QLatin1Char('/') + QFileInfo(source).fileName());
    }
    file->setFilename(url);

    // Store once, at the end, whatever the size.
    file->setFlushThreshold(std::numeric_limits<qint64>::max());
    file->open(QIODevice::WriteOnly);
    QByteArray chunk;
    while (!(chunk = input.read(ChunkSize)).isEmpty())
        file->write(chunk);
    if (input.error() != QFileDevice::NoError)
        return fail(QStringLiteral("%1: %2").arg(source, input.errorString()), Failure);

    TransferProgress progress(QStringLiteral("put"));
    QObject::connect(file.get(), SIGNAL(progress(int)), &progress, SLOT(setPercent(int)));
    if (!file->flush())
        return fail(url.toString(), file.get());
    file->close();
    return Success;
}

// The source and destination of cp and mv.
bool CommandLine::remoteUrlPair(const QStringList &arguments, QUrl *from, QUrl *to, int *exitCode)
{
    if (arguments.size() != 2) {
        *exitCode = usage(QStringLiteral("%1 takes two URLs").arg(m_command));
        return false;
    }
    *from = remoteUrl(arguments.at(0), exitCode);
    *to = remoteUrl(arguments.at(1), exitCode);
    return !from->isEmpty() && !to->isEmpty();
}

int CommandLine::cp(const QStringList &arguments)
{
    int exitCode = Success;
    QUrl from;
    QUrl to;
    if (!remoteUrlPair(arguments, &from, &to, &exitCode))
        return exitCode;
    // The service copies beside the source whatever folder the destination names.
    if (!sameFolder(from, to))
        return usage(QStringLiteral("a copy is made beside its source: give a destination in %1")
                             .arg(folderOf(from)));
    auto file = open(from, &exitCode);
    if (!file)
        return exitCode;
    QString etag;
    if (file->exists(to, etag))
        return fail(QStringLiteral("%1 exists already: remove it first").arg(to.toString()),
                    Failure);
    if (!file->copy(from, to))
        return fail(from.toString(), file.get());
    return Success;
}

int CommandLine::mv(const QStringList &arguments)
{
    int exitCode = Success;
    QUrl from;
    QUrl to;
    if (!remoteUrlPair(arguments, &from, &to, &exitCode))
        return exitCode;
    // The plug-in removes the destination before it renames: onto itself, the file would go.
    if (from.path() == to.path())
        return usage(QStringLiteral("source and destination are the same"));
    if (!sameFolder(from, to))
        return usage(QStringLiteral("mv renames within a folder: give a destination in %1")
                             .arg(folderOf(from)));
    auto file = open(from, &exitCode);
    if (!file)
        return exitCode;
    if (!resolve(file.get(), from, &exitCode))
        return exitCode;
    if (!file->rename(from, to))
        return fail(from.toString(), file.get());
    return Success;
}

int CommandLine::rm(const QStringList &arguments)
{
    if (arguments.size() != 1)
        return usage(QStringLiteral("rm takes one URL"));
    int exitCode = Success;
    const QUrl url = remoteUrl(arguments.first(), &exitCode);
    if (url.isEmpty())
        return exitCode;
    if (url.path().isEmpty() || url.path() == QLatin1String("/"))
        return usage(QStringLiteral("the top folder cannot be removed"));
    auto file = open(url, &exitCode);
    if (!file)
        return exitCode;
    auto object = resolve(file.get(), url, &exitCode);
    if (!object)
        return exitCode;
    if (object->isFolder() && !m_parser.isSet(QStringLiteral("recursive")))
        return fail(QStringLiteral("%1 is a folder: use -r to remove it with its content")
                            .arg(url.toString()),
                    Failure);
    if (!file->remove(object.get()))
        return fail(url.toString(), file.get());
    return Success;
}

int CommandLine::mkdir(const QStringList &arguments)
{
    if (arguments.size() != 1)
        return usage(QStringLiteral("mkdir takes one URL"));
    int exitCode = Success;
    const QUrl url = remoteUrl(arguments.first(), &exitCode);
    if (url.isEmpty())
        return exitCode;
    const QStringList names = url.path().split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (names.isEmpty())
        return usage(QStringLiteral("give the folder a name"));
    auto file = open(url, &exitCode);
    if (!file)
        return exitCode;

    const bool parents = m_parser.isSet(QStringLiteral("parents"));
    std::unique_ptr<CloudObject> folder = root(file.get());
    QUrl step(QStringLiteral("gdapp:"));
    for (int i = 0; i < names.size(); ++i) {
        const bool last = i == names.size() - 1;
        step.setPath(step.path() + QLatin1Char('/') + names.at(i));
        int status = 0;
        std::unique_ptr<CloudObject> existing(file->getObjectFromPath(step, status));
        if (status == 2 && existing->isFolder()) {
            if (last)
                return parents
                        ? Success
                        : fail(QStringLiteral("%1 exists already").arg(url.toString()), Failure);
            folder = std::move(existing);
            continue;
        }
        if (status == 2)
            return fail(QStringLiteral("%1 is a file").arg(step.toString()), Failure);
        if (!lastLookupWorked(file.get()))
            return fail(step.toString(), file.get());
        if (!last && !parents)
            return fail(
                    QStringLiteral("%1: no such folder (use -p to make it)").arg(step.toString()),
                    NotFound);
        // mkdir moves the folder object into the folder it made.
        if (!file->mkdir(folder.get(), names.at(i)))
            return fail(QStringLiteral("%1: %2").arg(step.toString(), file->errorString()),
                        file->errorCode() ? ServiceError : Failure);
    }
    return Success;
}

int CommandLine::openDialog(const QStringList &arguments)
{
    if (!arguments.isEmpty())
        return usage(QStringLiteral("open-dialog takes no arguments"));
    return dialog(false);
}

int CommandLine::saveDialog(const QStringList &arguments)
{
    if (!arguments.isEmpty())
        return usage(QStringLiteral("save-dialog takes no arguments"));
    return dialog(true);
}

int CommandLine::dialog(bool save)
{
    int exitCode = Success;
    auto file = open(QUrl(QStringLiteral("gdapp:/")), &exitCode);
    if (!file)
        return exitCode;
    const QString caption = m_parser.value(QStringLiteral("caption"));
    const QString filter = m_parser.value(QStringLiteral("filter"));
    const QUrl chosen = save ? file->getSaveFileName(nullptr, caption, QString(), filter)
                             : file->getOpenFileName(nullptr, caption, QString(), filter);
    if (chosen.isEmpty())
        return fail(QStringLiteral("nothing chosen"), Failure);
    out() << chosen.toString() << Qt::endl;
    return Success;
}

int CommandLine::login(const QStringList &arguments)
{
    if (!arguments.isEmpty())
        return usage(QStringLiteral("login takes no arguments"));
    QSettings().remove(Scheme);
    int exitCode = Success;
    if (!open(QUrl(QStringLiteral("gdapp:/")), &exitCode))
        return exitCode;
    err() << "Authorised." << Qt::endl;
    return Success;
}

int CommandLine::logout(const QStringList &arguments)
{
    if (!arguments.isEmpty())
        return usage(QStringLiteral("logout takes no arguments"));
    QSettings settings;
    settings.remove(Scheme);
    settings.sync();
    if (settings.status() != QSettings::NoError)
        return fail(QStringLiteral("cannot write %1").arg(settings.fileName()), Failure);
    err() << "Signed out: the stored authorisation is gone." << Qt::endl;
    return Success;
}
