// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "commands.h"

#include "cloudcodes.h"
#include "cloudfile.h"
#include "cloudfileerror.h"
#include "exitcode.h"
#include "listingcollector.h"
#include "providersession.h"
#include "reporter.h"
#include "transferprogress.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <limits>

namespace {
const QString Scheme = QStringLiteral("gdapp");
constexpr qint64 ChunkSize = 4 * 1024 * 1024;
// The device keeps a file in memory with 32-bit positions.
constexpr qint64 MaxContent = qint64(2) * 1024 * 1024 * 1024;

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

bool isTop(const QUrl &url)
{
    return url.path().isEmpty() || url.path() == QLatin1String("/");
}

QString childPath(const QUrl &folder, const QString &name)
{
    const QString path = folder.path();
    return path + (path.endsWith(QLatin1Char('/')) ? QString() : QStringLiteral("/")) + name;
}

QString folderOf(const QUrl &url)
{
    const QString folder = url.path().section(QLatin1Char('/'), 0, -2);
    return folder.isEmpty() ? QStringLiteral("/") : folder;
}

// Why cp refuses a pair of URLs before asking the service anything, or nothing.
QString copyRefusal(const QUrl &from, const QUrl &to)
{
    // The service copies beside the source whatever folder the destination names.
    if (folderOf(from) != folderOf(to))
        return QStringLiteral("a copy is made beside its source: give a destination in %1")
                .arg(folderOf(from));
    return QString();
}

// The same for mv. The plug-in removes the destination before it renames: onto itself, the file
// would go.
QString renameRefusal(const QUrl &from, const QUrl &to)
{
    if (from.path() == to.path())
        return QStringLiteral("source and destination are the same");
    if (folderOf(from) != folderOf(to))
        return QStringLiteral("mv renames within a folder: give a destination in %1")
                .arg(folderOf(from));
    return QString();
}
} // namespace

Commands::Commands(const QCommandLineParser &parser, ProviderSession &session,
                   const Reporter &reporter)
    : m_parser(parser), m_session(session), m_reporter(reporter)
{
}

Commands::~Commands() = default;

QUrl Commands::remoteUrl(const QString &text, int *exitCode) const
{
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid() || url.scheme() != Scheme || !url.host().isEmpty()) {
        *exitCode = m_reporter.usage(QStringLiteral("\"%1\" is not a gdapp:/path URL").arg(text));
        return QUrl();
    }
    return url;
}

std::unique_ptr<CloudFile> Commands::cloudFile(const QUrl &url, int *exitCode)
{
    QString why;
    std::unique_ptr<CloudFile> file = m_session.cloudFile(url, &why, exitCode);
    if (!file)
        *exitCode = m_reporter.fail(why, *exitCode);
    return file;
}

std::unique_ptr<CloudObject> Commands::resolve(CloudFile &file, const QUrl &url,
                                               int *exitCode) const
{
    if (isTop(url))
        return std::unique_ptr<CloudObject>(file.getCloudObject());
    int status = Cloud::NothingFound;
    std::unique_ptr<CloudObject> object(file.getObjectFromPath(url, status));
    if (status == Cloud::PathFound)
        return object;
    *exitCode = m_reporter.fail(url.toString(), file);
    return nullptr;
}

Commands::Kind Commands::kindAt(CloudFile &file, const QUrl &url, int *exitCode) const
{
    if (isTop(url))
        return Kind::Folder;
    int status = Cloud::NothingFound;
    const std::unique_ptr<CloudObject> object(file.getObjectFromPath(url, status));
    if (status == Cloud::PathFound)
        return object->isFolder() ? Kind::Folder : Kind::File;
    if (CloudFileError(file).isNotFound())
        return Kind::Missing;
    *exitCode = m_reporter.fail(url.toString(), file);
    return Kind::Failed;
}

int Commands::refuseLarge(const QString &what) const
{
    return m_reporter.fail(QStringLiteral("%1 is 2 GiB or more: the plug-in holds a file in memory "
                                          "and handles files smaller than 2 GiB (%2 bytes)")
                                   .arg(what, QString::number(MaxContent)),
                           Failure);
}

bool Commands::begin(const QString &text, Lookup lookup, Target *target, int *exitCode)
{
    target->url = remoteUrl(text, exitCode);
    if (target->url.isEmpty())
        return false;
    target->file = cloudFile(target->url, exitCode);
    if (!target->file)
        return false;
    if (lookup == Lookup::None)
        return true;
    target->entry = resolve(*target->file, target->url, exitCode);
    return target->entry != nullptr;
}

int Commands::ls(const QStringList &arguments)
{
    Target target;
    int exitCode = Success;
    if (!begin(arguments.value(0, QStringLiteral("gdapp:/")), Lookup::Entry, &target, &exitCode))
        return exitCode;
    if (!target.entry->isFolder()) {
        Reporter::out() << describe(target.entry.get()) << Qt::endl;
        return Success;
    }
    ListingCollector listing;
    QObject::connect(target.file.get(), SIGNAL(objectList(QList<CloudObject *>)), &listing,
                     SLOT(collect(QList<CloudObject *>)));
    if (!target.file->listObjects(target.entry.get()))
        return m_reporter.fail(target.url.toString(), *target.file);
    for (const CloudObject *entry : listing.objects())
        Reporter::out() << describe(entry) << Qt::endl;
    return Success;
}

int Commands::stat(const QStringList &arguments)
{
    Target target;
    int exitCode = Success;
    if (!begin(arguments.first(), Lookup::Entry, &target, &exitCode))
        return exitCode;
    const CloudObject *entry = target.entry.get();
    Reporter::out() << "url:      " << target.url.toString() << Qt::endl
                    << "type:     " << (entry->isFolder() ? "folder" : "file") << Qt::endl
                    << "name:     " << entry->fileName() << Qt::endl
                    << "id:       " << entry->id() << Qt::endl
                    << "mimeType: " << entry->contentType() << Qt::endl
                    << "size:     "
                    << (entry->isFolder() ? QStringLiteral("-") : QString::number(entry->bytes()))
                    << Qt::endl
                    << "modified: " << entry->lastModified().toUTC().toString(Qt::ISODateWithMs)
                    << Qt::endl
                    << "md5:      " << entry->etag() << Qt::endl;
    return Success;
}

int Commands::get(const QStringList &arguments)
{
    int exitCode = Success;
    const QUrl url = remoteUrl(arguments.first(), &exitCode);
    if (url.isEmpty())
        return exitCode;
    const bool toStandardOutput = arguments.value(1) == QLatin1String("-");
    QString target = arguments.value(1, url.fileName());
    if (!toStandardOutput && QFileInfo(target).isDir())
        target = QDir(target).filePath(url.fileName());
    if (!toStandardOutput && target.isEmpty())
        return m_reporter.usage(QStringLiteral("%1 names no file").arg(url.toString()));

    Target remote;
    if (!begin(arguments.first(), Lookup::Entry, &remote, &exitCode))
        return exitCode;
    if (remote.entry->isFolder())
        return m_reporter.fail(QStringLiteral("%1 is a folder").arg(url.toString()), Failure);
    if (remote.entry->bytes() >= quint64(MaxContent))
        return refuseLarge(url.toString());
    {
        TransferProgress progress(QStringLiteral("get"));
        QObject::connect(remote.file.get(), SIGNAL(progress(int)), &progress,
                         SLOT(setPercent(int)));
        if (!remote.file->open(QIODevice::ReadOnly))
            return m_reporter.fail(remote.url.toString(), *remote.file);
    }

    // Written beside the target and renamed over it once complete.
    QSaveFile local(target);
    QFile standardOutput;
    QFileDevice *sink = toStandardOutput ? static_cast<QFileDevice *>(&standardOutput) : &local;
    const bool opened = toStandardOutput ? standardOutput.open(stdout, QIODevice::WriteOnly)
                                         : local.open(QIODevice::WriteOnly);
    if (!opened) {
        const QString where = toStandardOutput ? QStringLiteral("standard output") : target;
        return m_reporter.fail(QStringLiteral("%1: %2").arg(where, sink->errorString()), Failure);
    }
    QByteArray chunk;
    while (!(chunk = remote.file->read(ChunkSize)).isEmpty()) {
        if (sink->write(chunk) != chunk.size()) {
            local.cancelWriting();
            const QString where = toStandardOutput ? QStringLiteral("standard output") : target;
            return m_reporter.fail(QStringLiteral("%1: %2").arg(where, sink->errorString()),
                                   Failure);
        }
    }
    if (!toStandardOutput && !local.commit())
        return m_reporter.fail(QStringLiteral("%1: %2").arg(target, local.errorString()), Failure);
    return Success;
}

int Commands::put(const QStringList &arguments)
{
    const QString source = arguments.first();
    const bool fromStandardInput = source == QLatin1String("-");
    int exitCode = Success;
    if (remoteUrl(arguments.at(1), &exitCode).isEmpty())
        return exitCode;
    QFile input;
    const bool opened = fromStandardInput
            ? input.open(stdin, QIODevice::ReadOnly)
            : (input.setFileName(source), input.open(QIODevice::ReadOnly));
    if (!opened)
        return m_reporter.fail(QStringLiteral("%1: %2").arg(source, input.errorString()), Failure);
    if (!input.isSequential() && input.size() >= MaxContent)
        return refuseLarge(source);

    Target remote;
    if (!begin(arguments.at(1), Lookup::None, &remote, &exitCode))
        return exitCode;
    CloudFile &file = *remote.file;
    QUrl url = remote.url;
    // Into a folder: keep the local name. A folder itself is never the target: the upload
    // would replace its content.
    const bool intoFolder = url.path().endsWith(QLatin1Char('/'));
    if (intoFolder && fromStandardInput)
        return m_reporter.usage(
                QStringLiteral("give the remote file a name when reading standard input"));
    Kind kind = intoFolder ? Kind::Folder : kindAt(file, url, &exitCode);
    if (kind == Kind::Folder && fromStandardInput)
        return m_reporter.fail(QStringLiteral("%1 is a folder: name the file to make in it, as "
                                              "%1/NAME, when reading standard input")
                                       .arg(url.toString()),
                               Failure);
    if (kind == Kind::Folder) {
        url.setPath(childPath(url, QFileInfo(source).fileName()));
        kind = kindAt(file, url, &exitCode);
        if (kind == Kind::Folder)
            return m_reporter.fail(QStringLiteral("%1 is a folder").arg(url.toString()), Failure);
    }
    if (kind == Kind::Failed)
        return exitCode;
    file.setFilename(url);

    // Store once, at the end, whatever the size.
    file.setFlushThreshold(std::numeric_limits<qint64>::max());
    file.open(QIODevice::WriteOnly);
    qint64 total = 0;
    QByteArray chunk;
    while (!(chunk = input.read(ChunkSize)).isEmpty()) {
        total += chunk.size();
        if (total >= MaxContent)
            return refuseLarge(fromStandardInput ? QStringLiteral("standard input") : source);
        file.write(chunk);
    }
    if (input.error() != QFileDevice::NoError)
        return m_reporter.fail(QStringLiteral("%1: %2").arg(source, input.errorString()), Failure);

    TransferProgress progress(QStringLiteral("put"));
    QObject::connect(&file, SIGNAL(progress(int)), &progress, SLOT(setPercent(int)));
    if (!file.flush())
        return m_reporter.fail(url.toString(), file);
    file.close();
    return Success;
}

std::unique_ptr<CloudFile> Commands::beginPair(const QStringList &arguments, Refusal refusal,
                                               QUrl *from, QUrl *to, int *exitCode)
{
    *from = remoteUrl(arguments.at(0), exitCode);
    *to = remoteUrl(arguments.at(1), exitCode);
    if (from->isEmpty() || to->isEmpty())
        return nullptr;
    const QString refused = refusal(*from, *to);
    if (!refused.isEmpty()) {
        *exitCode = m_reporter.usage(refused);
        return nullptr;
    }
    return cloudFile(*from, exitCode);
}

int Commands::cp(const QStringList &arguments)
{
    int exitCode = Success;
    QUrl from;
    QUrl to;
    const auto file = beginPair(arguments, &copyRefusal, &from, &to, &exitCode);
    if (!file)
        return exitCode;
    switch (kindAt(*file, to, &exitCode)) {
    case Kind::Failed:
        return exitCode;
    case Kind::Folder:
        return m_reporter.fail(QStringLiteral("%1 is a folder: give the copy a name of its own")
                                       .arg(to.toString()),
                               Failure);
    case Kind::File:
        return m_reporter.fail(
                QStringLiteral("%1 exists already: remove it first").arg(to.toString()), Failure);
    case Kind::Missing:
        break;
    }
    if (!file->copy(from, to))
        return m_reporter.fail(from.toString(), *file);
    return Success;
}

int Commands::mv(const QStringList &arguments)
{
    int exitCode = Success;
    QUrl from;
    QUrl to;
    const auto file = beginPair(arguments, &renameRefusal, &from, &to, &exitCode);
    if (!file)
        return exitCode;
    if (!resolve(*file, from, &exitCode))
        return exitCode;
    // The plug-in would remove a folder of the new name, with everything in it, and rename.
    const Kind destination = kindAt(*file, to, &exitCode);
    if (destination == Kind::Failed)
        return exitCode;
    if (destination == Kind::Folder)
        return m_reporter.fail(QStringLiteral("%1 is a folder: mv replaces files only; choose "
                                              "another name or remove the folder first")
                                       .arg(to.toString()),
                               Failure);
    if (!file->rename(from, to))
        return m_reporter.fail(from.toString(), *file);
    return Success;
}

int Commands::rm(const QStringList &arguments)
{
    int exitCode = Success;
    const QUrl url = remoteUrl(arguments.first(), &exitCode);
    if (url.isEmpty())
        return exitCode;
    if (isTop(url))
        return m_reporter.usage(QStringLiteral("the top folder cannot be removed"));
    Target target;
    if (!begin(arguments.first(), Lookup::Entry, &target, &exitCode))
        return exitCode;
    if (target.entry->isFolder() && !m_parser.isSet(QStringLiteral("recursive")))
        return m_reporter.fail(
                QStringLiteral("%1 is a folder: use -r to remove it with its content")
                        .arg(url.toString()),
                Failure);
    if (!target.file->remove(target.entry.get()))
        return m_reporter.fail(url.toString(), *target.file);
    return Success;
}

int Commands::mkdir(const QStringList &arguments)
{
    int exitCode = Success;
    const QUrl url = remoteUrl(arguments.first(), &exitCode);
    if (url.isEmpty())
        return exitCode;
    const QStringList names = url.path().split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (names.isEmpty())
        return m_reporter.usage(QStringLiteral("give the folder a name"));
    Target target;
    if (!begin(arguments.first(), Lookup::None, &target, &exitCode))
        return exitCode;
    CloudFile &file = *target.file;

    const bool parents = m_parser.isSet(QStringLiteral("parents"));
    std::unique_ptr<CloudObject> folder(file.getCloudObject());
    QUrl step(QStringLiteral("gdapp:"));
    for (int i = 0; i < names.size(); ++i) {
        const bool last = i == names.size() - 1;
        step.setPath(step.path() + QLatin1Char('/') + names.at(i));
        int status = Cloud::NothingFound;
        std::unique_ptr<CloudObject> existing(file.getObjectFromPath(step, status));
        if (status == Cloud::PathFound && existing->isFolder()) {
            if (last)
                return parents
                        ? Success
                        : m_reporter.fail(QStringLiteral("%1 exists already").arg(url.toString()),
                                          Failure);
            folder = std::move(existing);
            continue;
        }
        if (status == Cloud::PathFound)
            return m_reporter.fail(QStringLiteral("%1 is a file").arg(step.toString()), Failure);
        if (!CloudFileError(file).isNotFound())
            return m_reporter.fail(step.toString(), file);
        if (!last && !parents)
            return m_reporter.fail(
                    QStringLiteral("%1: no such folder (use -p to make it)").arg(step.toString()),
                    NotFound);
        // mkdir moves the folder object into the folder it made.
        if (!file.mkdir(folder.get(), names.at(i)))
            return m_reporter.fail(
                    QStringLiteral("%1: %2").arg(step.toString(), file.errorString()),
                    CloudFileError(file).exitCode());
    }
    return Success;
}

int Commands::openDialog(const QStringList &)
{
    return dialog(false);
}

int Commands::saveDialog(const QStringList &)
{
    return dialog(true);
}

int Commands::dialog(bool save)
{
    int exitCode = Success;
    auto file = cloudFile(QUrl(QStringLiteral("gdapp:/")), &exitCode);
    if (!file)
        return exitCode;
    const QString caption = m_parser.value(QStringLiteral("caption"));
    const QString filter = m_parser.value(QStringLiteral("filter"));
    const QUrl chosen = save ? file->getSaveFileName(nullptr, caption, QString(), filter)
                             : file->getOpenFileName(nullptr, caption, QString(), filter);
    if (chosen.isEmpty())
        return m_reporter.fail(QStringLiteral("nothing chosen"), Failure);
    Reporter::out() << chosen.toString() << Qt::endl;
    return Success;
}

int Commands::login(const QStringList &)
{
    QString error;
    if (!ProviderSession::forgetAuthorisation(&error))
        return m_reporter.fail(error, Failure);
    int exitCode = Success;
    if (!cloudFile(QUrl(QStringLiteral("gdapp:/")), &exitCode))
        return exitCode;
    Reporter::err() << "Authorised." << Qt::endl;
    return Success;
}

int Commands::logout(const QStringList &)
{
    QString error;
    if (!ProviderSession::forgetAuthorisation(&error))
        return m_reporter.fail(error, Failure);
    Reporter::err() << "Signed out: the stored authorisation is gone." << Qt::endl;
    return Success;
}
