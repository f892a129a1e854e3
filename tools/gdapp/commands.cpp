// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "commands.h"

#include "cloudcodes.h"
#include "cloudfile.h"
#include "cloudfileerror.h"
#include "cloudfilechooser.h"
#include "downloadsink.h"
#include "listingcollector.h"
#include "providersession.h"
#include "replacingrename.h"
#include "reporter.h"
#include "standardstreams.h"
#include "transferprogress.h"
#include "sizelimit.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <limits>

namespace {
constexpr qint64 ChunkSize = 4 * 1024 * 1024;

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
            .arg(RemoteUrl::printable(object->fileName()),
                 object->isFolder() ? QStringLiteral("/") : QString());
}

// Why cp or mv refuses a pair of URLs before asking the service anything, or nothing.
QString pairRefusal(const RemoteUrl &from, const RemoteUrl &to, const QString &toFolder, bool copy)
{
    // The plug-in removes the destination before it renames: onto itself, the file would go. A
    // copy onto itself is refused before it is told to remove the source.
    if (from.path() == to.path())
        return QStringLiteral("source and destination are the same");
    // The service copies beside the source, and renames in place, whatever folder the
    // destination names.
    if (from.folderPath() != toFolder)
        return QStringLiteral("%1: give a destination in %2")
                .arg(copy ? QStringLiteral("a copy is made beside its source")
                          : QStringLiteral("mv renames within a folder"),
                     from.folderPath());
    return QString();
}
} // namespace

Commands::Commands(const QCommandLineParser &parser, ProviderSession &session,
                   const Reporter &reporter)
    : m_parser(parser), m_session(session), m_reporter(reporter)
{
}

Commands::~Commands() = default;

Result<RemoteUrl> Commands::remoteUrl(const QString &text)
{
    const RemoteUrl url = RemoteUrl::fromUserInput(text);
    if (url.problem() == RemoteUrl::NotAUrl)
        return Outcome::usage(url.errorString());
    if (url.problem() == RemoteUrl::RefusedName)
        return Outcome::failure(url.errorString());
    return url;
}

Commands::Refusal Commands::refuseTop(const QString &why)
{
    return [why](const RemoteUrl &url) { return url.isTop() ? Outcome::usage(why) : Outcome(); };
}

Result<Commands::Found> Commands::find(CloudFile &file, const RemoteUrl &url) const
{
    Found found;
    if (url.isTop()) {
        found.kind = Kind::Folder;
        found.entry.reset(file.getCloudObject());
        return found;
    }
    int status = Cloud::NothingFound;
    std::unique_ptr<CloudObject> object(file.getObjectFromPath(url.url(), status));
    if (status == Cloud::PathFound) {
        found.kind = object->isFolder() ? Kind::Folder : Kind::File;
        found.entry = std::move(object);
    } else if (CloudFileError(file).isNotFound()) {
        found.kind = Kind::Missing;
        if (status == Cloud::ParentFound && object)
            found.folderId = object->id();
    } else {
        return m_reporter.failure(url.toString(), file);
    }
    return found;
}

Result<std::unique_ptr<CloudObject>> Commands::resolve(CloudFile &file, const RemoteUrl &url) const
{
    Result<Found> found = find(file, url);
    if (!found)
        return found.failure();
    if (found->kind == Kind::Missing)
        return m_reporter.failure(url.toString(), file);
    // Written with a trailing slash, it names a folder, as in a Unix path.
    if (found->kind == Kind::File && url.namesFolder())
        return Outcome::failure(QStringLiteral("%1/ is not a folder").arg(url.toString()));
    return std::move(found->entry);
}

Outcome Commands::refuseLarge(const QString &what, qint64 limit)
{
    if (limit == SizeLimit::MaxContent)
        return Outcome::failure(
                QStringLiteral("%1 is 2 GiB or more: the plug-in holds a file in memory and "
                               "handles files smaller than 2 GiB (%2 bytes)")
                        .arg(what, QString::number(SizeLimit::MaxContent + 1)));
    return Outcome::failure(
            QStringLiteral("%1 is too large for a new file: the plug-in sends a new file with its "
                           "metadata in one request of at most 2 GiB, which leaves room for %2 "
                           "bytes of content here (an existing file takes up to %3)")
                    .arg(what, QString::number(limit), QString::number(SizeLimit::MaxContent)));
}

Result<Commands::Target> Commands::begin(const QString &text, Lookup lookup, const Refusal &refuse)
{
    Result<RemoteUrl> remote = remoteUrl(text);
    if (!remote)
        return remote.failure();
    if (refuse) {
        if (const Outcome refused = refuse(*remote); !refused.isDone())
            return refused;
    }
    Result<std::unique_ptr<CloudFile>> file = m_session.cloudFile(remote->url());
    if (!file)
        return file.failure();
    Target target { remote.take(), file.take(), nullptr };
    if (lookup == Lookup::None || (lookup == Lookup::NamedFolder && !target.remote.namesFolder()))
        return target;
    Result<std::unique_ptr<CloudObject>> entry = resolve(*target.file, target.remote);
    if (!entry)
        return entry.failure();
    target.entry = entry.take();
    return target;
}

Outcome Commands::finishOutput()
{
    QString why;
    if (StandardStreams::flushOutput(&why))
        return Outcome();
    return Outcome::failure(QStringLiteral("standard output: %1").arg(why));
}

Outcome Commands::ls(const QStringList &arguments)
{
    Result<Target> target = begin(arguments.value(0, QStringLiteral("gdapp:/")), Lookup::Entry);
    if (!target)
        return target.failure();
    if (!target->entry->isFolder()) {
        Reporter::out() << describe(target->entry.get()) << Qt::endl;
        return finishOutput();
    }
    ListingCollector listing;
    QObject::connect(target->file.get(), SIGNAL(objectList(QList<CloudObject *>)), &listing,
                     SLOT(collect(QList<CloudObject *>)));
    if (!target->file->listObjects(target->entry.get()))
        return m_reporter.failure(target->remote.toString(), *target->file);
    for (const CloudObject *entry : listing.objects())
        Reporter::out() << describe(entry) << Qt::endl;
    return finishOutput();
}

Outcome Commands::stat(const QStringList &arguments)
{
    Result<Target> target = begin(arguments.first(), Lookup::Entry);
    if (!target)
        return target.failure();
    const CloudObject *entry = target->entry.get();
    Reporter::out() << "url:      " << target->remote.toString() << Qt::endl
                    << "type:     " << (entry->isFolder() ? "folder" : "file") << Qt::endl
                    << "name:     " << RemoteUrl::printable(entry->fileName()) << Qt::endl
                    << "id:       " << entry->id() << Qt::endl
                    << "mimeType: " << entry->contentType() << Qt::endl
                    << "size:     "
                    << (entry->isFolder() ? QStringLiteral("-") : QString::number(entry->bytes()))
                    << Qt::endl
                    << "modified: " << entry->lastModified().toUTC().toString(Qt::ISODateWithMs)
                    << Qt::endl
                    << "md5:      " << entry->etag() << Qt::endl;
    return finishOutput();
}

Outcome Commands::get(const QStringList &arguments)
{
    Result<Target> remote = begin(arguments.first(), Lookup::Entry, [](const RemoteUrl &url) {
        return url.isTop() ? Outcome::usage(QStringLiteral("%1 names no file").arg(url.toString()))
                           : Outcome();
    });
    if (!remote)
        return remote.failure();
    const RemoteUrl &url = remote->remote;
    // A remote file called "-" is no request for standard output.
    QString target = arguments.size() > 1      ? arguments.at(1)
            : url.name() == QLatin1String("-") ? QStringLiteral("./-")
                                               : url.name();
    if (target != QLatin1String("-") && QFileInfo(target).isDir())
        target = QDir(target).filePath(url.name());

    if (remote->entry->isFolder())
        return Outcome::failure(QStringLiteral("%1 is a folder").arg(url.toString()));
    if (remote->entry->bytes() > quint64(SizeLimit::MaxContent))
        return refuseLarge(url.toString(), SizeLimit::MaxContent);
    CloudFile &file = *remote->file;
    {
        TransferProgress progress(QStringLiteral("get"));
        QObject::connect(&file, SIGNAL(progress(int)), &progress, SLOT(setPercent(int)));
        if (!file.open(QIODevice::ReadOnly))
            return m_reporter.failure(url.toString(), file);
    }

    DownloadSink sink(target);
    bool written = sink.open();
    QByteArray chunk;
    while (written && !(chunk = file.read(ChunkSize)).isEmpty())
        written = sink.write(chunk);
    if (!written || !sink.finish())
        return Outcome::failure(QStringLiteral("%1: %2").arg(sink.name(), sink.errorString()));
    return Outcome();
}

Outcome Commands::openUpload(const QString &source, const RemoteUrl &url, QFile *input,
                             RemoteUrl *named) const
{
    const bool fromStandardInput = source == QLatin1String("-");
    // Into a folder: keep the local name. A folder itself is never the target: the upload
    // would replace its content.
    if (url.namesFolder() && fromStandardInput)
        return Outcome::usage(
                QStringLiteral("give the remote file a name when reading standard input"));
    // "." included, whose name the remote one could not take.
    if (!fromStandardInput && QFileInfo(source).isDir())
        return Outcome::failure(QStringLiteral("%1 is a folder: put uploads one file").arg(source));
    *named = url.child(QFileInfo(source).fileName());
    if (url.namesFolder() && !named->isValid())
        return Outcome::failure(named->errorString());
    const bool opened = fromStandardInput
            ? input->open(stdin, QIODevice::ReadOnly)
            : (input->setFileName(source), input->open(QIODevice::ReadOnly));
    if (!opened)
        return Outcome::failure(QStringLiteral("%1: %2").arg(source, input->errorString()));
    if (!input->isSequential() && input->size() > SizeLimit::MaxContent)
        return refuseLarge(source, SizeLimit::MaxContent);
    return Outcome();
}

Outcome Commands::put(const QStringList &arguments)
{
    const QString source = arguments.first();
    const bool fromStandardInput = source == QLatin1String("-");
    QFile input;
    RemoteUrl named;
    // Written with a trailing slash, the URL names a folder, which must be there.
    Result<Target> remote = begin(arguments.at(1), Lookup::NamedFolder, [&](const RemoteUrl &url) {
        return openUpload(source, url, &input, &named);
    });
    if (!remote)
        return remote.failure();
    RemoteUrl url = remote->remote;
    CloudFile &file = *remote->file;
    Result<Found> found = url.namesFolder() ? Found { Kind::Folder, {}, {} } : find(file, url);
    if (!found)
        return found.failure();
    if (found->kind == Kind::Folder && fromStandardInput)
        return Outcome::failure(QStringLiteral("%1 is a folder: name the file to make in it, as "
                                               "%1/NAME, when reading standard input")
                                        .arg(url.toString()));
    if (found->kind == Kind::Folder) {
        if (!named.isValid())
            return Outcome::failure(named.errorString());
        url = named;
        found = find(file, url);
        if (!found)
            return found.failure();
        if (found->kind == Kind::Folder)
            return Outcome::failure(QStringLiteral("%1 is a folder").arg(url.toString()));
    }
    // A folder above it is missing.
    if (found->kind == Kind::Missing && found->folderId.isEmpty())
        return m_reporter.failure(url.toString(), file);
    const QString what = fromStandardInput ? QStringLiteral("standard input") : source;
    const qint64 limit = found->kind == Kind::Missing
            ? SizeLimit::forNewFile(url.name(), found->folderId)
            : SizeLimit::MaxContent;
    if (!input.isSequential() && input.size() > limit)
        return refuseLarge(what, limit);
    file.setFilename(url.url());

    // Store once, at the end, whatever the size.
    file.setFlushThreshold(std::numeric_limits<qint64>::max());
    file.open(QIODevice::WriteOnly);
    qint64 total = 0;
    QByteArray chunk;
    while (!(chunk = input.read(ChunkSize)).isEmpty()) {
        total += chunk.size();
        if (total > limit)
            return refuseLarge(what, limit);
        file.write(chunk);
    }
    if (input.error() != QFileDevice::NoError)
        return Outcome::failure(QStringLiteral("%1: %2").arg(source, input.errorString()));

    TransferProgress progress(QStringLiteral("put"));
    QObject::connect(&file, SIGNAL(progress(int)), &progress, SLOT(setPercent(int)));
    if (!file.flush())
        return m_reporter.failure(url.toString(), file);
    file.close();
    return Outcome();
}

Result<Commands::Target> Commands::beginPair(const QStringList &arguments, Pair pair, RemoteUrl *to)
{
    const bool copy = pair == Pair::Copy;
    return begin(arguments.at(0), Lookup::Entry, [&](const RemoteUrl &from) -> Outcome {
        Result<RemoteUrl> destination = remoteUrl(arguments.at(1));
        if (!destination)
            return destination.failure();
        *to = destination.take();
        if (from.isTop())
            return Outcome::usage(copy ? QStringLiteral("the top folder cannot be copied")
                                       : QStringLiteral("the top folder cannot be renamed"));
        // Into a folder, as "mv a b/" does: the source's name there, where the plug-in can.
        const QString toFolder = to->namesFolder() ? to->path() : to->folderPath();
        if (to->namesFolder() && toFolder == from.folderPath())
            *to = to->child(from.name());
        const QString refused = pairRefusal(from, *to, toFolder, copy);
        return refused.isEmpty() ? Outcome() : Outcome::usage(refused);
    });
}

Outcome Commands::cp(const QStringList &arguments)
{
    RemoteUrl to;
    Result<Target> begun = beginPair(arguments, Pair::Copy, &to);
    if (!begun)
        return begun.failure();
    const RemoteUrl &from = begun->remote;
    CloudFile &file = *begun->file;
    const std::unique_ptr<CloudObject> &source = begun->entry;
    if (source->isFolder())
        return Outcome::failure(QStringLiteral("%1 is a folder: the service copies files only")
                                        .arg(from.toString()));
    const Result<Found> destination = find(file, to);
    if (!destination)
        return destination.failure();
    switch (destination->kind) {
    case Kind::Folder:
        return Outcome::failure(QStringLiteral("%1 is a folder: give the copy a name of its own")
                                        .arg(to.toString()));
    case Kind::File:
        return Outcome::failure(
                QStringLiteral("%1 exists already: remove it first").arg(to.toString()));
    case Kind::Missing:
        break;
    }
    if (!file.copy(from.url(), to.url()))
        return m_reporter.failure(from.toString(), file);
    return Outcome();
}

Outcome Commands::mv(const QStringList &arguments)
{
    RemoteUrl to;
    Result<Target> begun = beginPair(arguments, Pair::Rename, &to);
    if (!begun)
        return begun.failure();
    const RemoteUrl &from = begun->remote;
    CloudFile &file = *begun->file;
    const std::unique_ptr<CloudObject> &source = begun->entry;
    Result<Found> lookup = find(file, to);
    if (!lookup)
        return lookup.failure();
    const Found destination = lookup.take();
    // The service matches names whatever their case: the plug-in would remove the source
    // itself, as the destination, before renaming it.
    if (destination.entry && destination.entry->id() == source->id())
        return Outcome::failure(QStringLiteral("%1 is %2 itself to the service, which matches "
                                               "names whatever their case: rename it through "
                                               "another name")
                                        .arg(to.toString(), from.toString()));
    // The plug-in would remove a folder of the new name, with everything in it, and rename.
    if (destination.kind == Kind::Folder)
        return Outcome::failure(QStringLiteral("%1 is a folder: mv replaces files only; choose "
                                               "another name or remove the folder first")
                                        .arg(to.toString()));
    if (destination.kind == Kind::File)
        return ReplacingRename(file, m_reporter, from, source->id(), to, *destination.entry).run();
    if (!file.rename(from.url(), to.url()))
        return m_reporter.failure(from.toString(), file);
    return Outcome();
}

Outcome Commands::rm(const QStringList &arguments)
{
    Result<Target> target = begin(arguments.first(), Lookup::Entry,
                                  refuseTop(QStringLiteral("the top folder cannot be removed")));
    if (!target)
        return target.failure();
    const RemoteUrl &url = target->remote;
    if (target->entry->isFolder() && !m_parser.isSet(QStringLiteral("recursive")))
        return Outcome::failure(
                QStringLiteral("%1 is a folder: use -r to remove it with its content")
                        .arg(url.toString()));
    if (!target->file->remove(target->entry.get()))
        return m_reporter.failure(url.toString(), *target->file);
    return Outcome();
}

Outcome Commands::mkdir(const QStringList &arguments)
{
    Result<Target> target = begin(arguments.first(), Lookup::None,
                                  refuseTop(QStringLiteral("give the folder a name")));
    if (!target)
        return target.failure();
    const RemoteUrl &url = target->remote;
    CloudFile &file = *target->file;

    const bool parents = m_parser.isSet(QStringLiteral("parents"));
    const QStringList names = url.path().split(QLatin1Char('/'), Qt::SkipEmptyParts);
    std::unique_ptr<CloudObject> folder(file.getCloudObject());
    RemoteUrl step = RemoteUrl::fromUserInput(QStringLiteral("gdapp:/"));
    for (int i = 0; i < names.size(); ++i) {
        const bool last = i == names.size() - 1;
        step = step.child(names.at(i));
        int status = Cloud::NothingFound;
        std::unique_ptr<CloudObject> existing(file.getObjectFromPath(step.url(), status));
        if (status == Cloud::PathFound && existing->isFolder()) {
            if (last)
                return parents
                        ? Outcome()
                        : Outcome::failure(QStringLiteral("%1 exists already").arg(url.toString()));
            folder = std::move(existing);
            continue;
        }
        if (status == Cloud::PathFound)
            return Outcome::failure(QStringLiteral("%1 is a file").arg(step.toString()));
        if (!CloudFileError(file).isNotFound())
            return m_reporter.failure(step.toString(), file);
        if (!last && !parents)
            return Outcome(
                    ExitCode::NotFound,
                    QStringLiteral("%1: no such folder (use -p to make it)").arg(step.toString()));
        // mkdir moves the folder object into the folder it made.
        if (!file.mkdir(folder.get(), names.at(i)))
            return m_reporter.failure(step.toString(), file);
    }
    return Outcome();
}

Outcome Commands::openDialog(const QStringList &)
{
    return dialog(false);
}

Outcome Commands::saveDialog(const QStringList &)
{
    return dialog(true);
}

Outcome Commands::dialog(bool save)
{
    Result<std::unique_ptr<CloudFile>> root = m_session.cloudFile(QUrl(QStringLiteral("gdapp:/")));
    if (!root)
        return root.failure();
    CloudFile *file = root->get();
    const QString caption = m_parser.value(QStringLiteral("caption"));
    const QString filter = m_parser.value(QStringLiteral("filter"));
    // The chooser's own answer to a double-click names the file twice and loses its folder.
    const QUrl chosen = save
            ? CloudFileChooser::getSaveFileName(file, nullptr, caption, QString(), filter)
            : CloudFileChooser::getOpenFileName(file, nullptr, caption, QString(), filter);
    if (chosen.isEmpty())
        return Outcome::failure(QStringLiteral("nothing chosen"));
    // Only what gdapp accepts is printed: a name typed in the chooser may be refused.
    const RemoteUrl url = RemoteUrl::fromUserInput(RemoteUrl::display(chosen));
    if (!url.isValid())
        return Outcome::failure(url.errorString());
    Reporter::out() << url.toString() << Qt::endl;
    return finishOutput();
}

Outcome Commands::login(const QStringList &)
{
    if (m_session.consent() == ConsentHandler::None)
        return Outcome::usage(QStringLiteral("login asks for a consent: not with --consent=none"));
    // The new authorisation is all that is wanted: the cloud file goes at once.
    if (const Outcome authorised =
                m_session.authoriseAgain(QUrl(QStringLiteral("gdapp:/"))).failure();
        !authorised.isDone())
        return authorised;
    Reporter::err() << "Authorised." << Qt::endl;
    return Outcome();
}

Outcome Commands::logout(const QStringList &)
{
    const bool signedIn = ProviderSession::hasStoredAuthorisation();
    if (const Outcome forgotten = ProviderSession::forgetAuthorisation(); !forgotten.isDone())
        return forgotten;
    Reporter::err() << (signedIn ? "Signed out: the stored authorisation is gone."
                                 : "Not signed in: there was no stored authorisation.")
                    << Qt::endl;
    return Outcome();
}
