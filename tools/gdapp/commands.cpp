// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "commands.h"

#include "cloudcodes.h"
#include "cloudfile.h"
#include "cloudfileerror.h"
#include "cloudfilechooser.h"
#include "downloadsink.h"
#include "exitcode.h"
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

// A name on one line: its control characters escaped as in C ("\n", "\t", "\x1b"), and the
// backslash too, so that what is shown reads back one way only.
QString printable(const QString &name)
{
    QString shown;
    shown.reserve(name.size());
    for (const QChar c : name) {
        if (c == QLatin1Char('\\'))
            shown += QLatin1String("\\\\");
        else if (c == QLatin1Char('\n'))
            shown += QLatin1String("\\n");
        else if (c == QLatin1Char('\t'))
            shown += QLatin1String("\\t");
        else if (c == QLatin1Char('\r'))
            shown += QLatin1String("\\r");
        else if (c.category() == QChar::Other_Control)
            shown += QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
        else
            shown += c;
    }
    return shown;
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
            .arg(printable(object->fileName()),
                 object->isFolder() ? QStringLiteral("/") : QString());
}

// Why cp or mv refuses a pair of URLs before asking the service anything, or nothing.
QString pairRefusal(const RemoteUrl &from, const RemoteUrl &to, const QString &toFolder, bool copy)
{
    // The plug-in removes the destination before it renames: onto itself, the file would go.
    if (!copy && from.path() == to.path())
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

RemoteUrl Commands::remoteUrl(const QString &text, int *exitCode) const
{
    const RemoteUrl url = RemoteUrl::fromUserInput(text);
    if (url.problem() == RemoteUrl::NotAUrl)
        *exitCode = m_reporter.usage(url.errorString());
    else if (url.problem() == RemoteUrl::RefusedName)
        *exitCode = m_reporter.fail(url.errorString(), Failure);
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

Commands::Found Commands::find(CloudFile &file, const RemoteUrl &url, int *exitCode) const
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
        *exitCode = m_reporter.fail(url.toString(), file);
    }
    return found;
}

std::unique_ptr<CloudObject> Commands::resolve(CloudFile &file, const RemoteUrl &url,
                                               int *exitCode) const
{
    Found found = find(file, url, exitCode);
    if (found.kind == Kind::Missing)
        *exitCode = m_reporter.fail(url.toString(), file);
    // Written with a trailing slash, it names a folder, as in a Unix path.
    if (found.kind == Kind::File && url.namesFolder()) {
        *exitCode =
                m_reporter.fail(QStringLiteral("%1/ is not a folder").arg(url.toString()), Failure);
        return nullptr;
    }
    return std::move(found.entry);
}

int Commands::refuseLarge(const QString &what, qint64 limit) const
{
    if (limit == SizeLimit::MaxContent)
        return m_reporter.fail(
                QStringLiteral("%1 is 2 GiB or more: the plug-in holds a file in memory and "
                               "handles files smaller than 2 GiB (%2 bytes)")
                        .arg(what, QString::number(SizeLimit::MaxContent + 1)),
                Failure);
    return m_reporter.fail(
            QStringLiteral("%1 is too large for a new file: the plug-in sends a new file with its "
                           "metadata in one request of at most 2 GiB, which leaves room for %2 "
                           "bytes of content here (an existing file takes up to %3)")
                    .arg(what, QString::number(limit), QString::number(SizeLimit::MaxContent)),
            Failure);
}

bool Commands::begin(const QString &text, Lookup lookup, Target *target, int *exitCode)
{
    target->remote = remoteUrl(text, exitCode);
    if (!target->remote.isValid())
        return false;
    target->file = cloudFile(target->remote.url(), exitCode);
    if (!target->file)
        return false;
    if (lookup == Lookup::None)
        return true;
    target->entry = resolve(*target->file, target->remote, exitCode);
    return target->entry != nullptr;
}

int Commands::finishOutput() const
{
    QString why;
    if (StandardStreams::flushOutput(&why))
        return Success;
    return m_reporter.fail(QStringLiteral("standard output: %1").arg(why), Failure);
}

int Commands::ls(const QStringList &arguments)
{
    Target target;
    int exitCode = Success;
    if (!begin(arguments.value(0, QStringLiteral("gdapp:/")), Lookup::Entry, &target, &exitCode))
        return exitCode;
    if (!target.entry->isFolder()) {
        Reporter::out() << describe(target.entry.get()) << Qt::endl;
        return finishOutput();
    }
    ListingCollector listing;
    QObject::connect(target.file.get(), SIGNAL(objectList(QList<CloudObject *>)), &listing,
                     SLOT(collect(QList<CloudObject *>)));
    if (!target.file->listObjects(target.entry.get()))
        return m_reporter.fail(target.remote.toString(), *target.file);
    for (const CloudObject *entry : listing.objects())
        Reporter::out() << describe(entry) << Qt::endl;
    return finishOutput();
}

int Commands::stat(const QStringList &arguments)
{
    Target target;
    int exitCode = Success;
    if (!begin(arguments.first(), Lookup::Entry, &target, &exitCode))
        return exitCode;
    const CloudObject *entry = target.entry.get();
    Reporter::out() << "url:      " << target.remote.toString() << Qt::endl
                    << "type:     " << (entry->isFolder() ? "folder" : "file") << Qt::endl
                    << "name:     " << printable(entry->fileName()) << Qt::endl
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

int Commands::get(const QStringList &arguments)
{
    int exitCode = Success;
    const RemoteUrl url = remoteUrl(arguments.first(), &exitCode);
    if (!url.isValid())
        return exitCode;
    if (url.isTop())
        return m_reporter.usage(QStringLiteral("%1 names no file").arg(url.toString()));
    // A remote file called "-" is no request for standard output.
    QString target = arguments.size() > 1      ? arguments.at(1)
            : url.name() == QLatin1String("-") ? QStringLiteral("./-")
                                               : url.name();
    if (target != QLatin1String("-") && QFileInfo(target).isDir())
        target = QDir(target).filePath(url.name());

    Target remote;
    if (!begin(arguments.first(), Lookup::Entry, &remote, &exitCode))
        return exitCode;
    if (remote.entry->isFolder())
        return m_reporter.fail(QStringLiteral("%1 is a folder").arg(url.toString()), Failure);
    if (remote.entry->bytes() > quint64(SizeLimit::MaxContent))
        return refuseLarge(url.toString(), SizeLimit::MaxContent);
    {
        TransferProgress progress(QStringLiteral("get"));
        QObject::connect(remote.file.get(), SIGNAL(progress(int)), &progress,
                         SLOT(setPercent(int)));
        if (!remote.file->open(QIODevice::ReadOnly))
            return m_reporter.fail(url.toString(), *remote.file);
    }

    DownloadSink sink(target);
    bool written = sink.open();
    QByteArray chunk;
    while (written && !(chunk = remote.file->read(ChunkSize)).isEmpty())
        written = sink.write(chunk);
    if (!written || !sink.finish())
        return m_reporter.fail(QStringLiteral("%1: %2").arg(sink.name(), sink.errorString()),
                               Failure);
    return Success;
}

int Commands::put(const QStringList &arguments)
{
    const QString source = arguments.first();
    const bool fromStandardInput = source == QLatin1String("-");
    int exitCode = Success;
    RemoteUrl url = remoteUrl(arguments.at(1), &exitCode);
    if (!url.isValid())
        return exitCode;
    // Into a folder: keep the local name. A folder itself is never the target: the upload
    // would replace its content.
    if (url.namesFolder() && fromStandardInput)
        return m_reporter.usage(
                QStringLiteral("give the remote file a name when reading standard input"));
    // "." included, whose name the remote one could not take.
    if (!fromStandardInput && QFileInfo(source).isDir())
        return m_reporter.fail(QStringLiteral("%1 is a folder: put uploads one file").arg(source),
                               Failure);
    const RemoteUrl named = url.child(QFileInfo(source).fileName());
    if (url.namesFolder() && !named.isValid())
        return m_reporter.fail(named.errorString(), Failure);
    QFile input;
    const bool opened = fromStandardInput
            ? input.open(stdin, QIODevice::ReadOnly)
            : (input.setFileName(source), input.open(QIODevice::ReadOnly));
    if (!opened)
        return m_reporter.fail(QStringLiteral("%1: %2").arg(source, input.errorString()), Failure);
    if (!input.isSequential() && input.size() > SizeLimit::MaxContent)
        return refuseLarge(source, SizeLimit::MaxContent);

    Target remote;
    // Written with a trailing slash, the URL names a folder, which must be there.
    if (!begin(arguments.at(1), url.namesFolder() ? Lookup::Entry : Lookup::None, &remote,
               &exitCode))
        return exitCode;
    CloudFile &file = *remote.file;
    Found found = url.namesFolder() ? Found { Kind::Folder, {}, {} } : find(file, url, &exitCode);
    if (found.kind == Kind::Folder && fromStandardInput)
        return m_reporter.fail(QStringLiteral("%1 is a folder: name the file to make in it, as "
                                              "%1/NAME, when reading standard input")
                                       .arg(url.toString()),
                               Failure);
    if (found.kind == Kind::Folder) {
        if (!named.isValid())
            return m_reporter.fail(named.errorString(), Failure);
        url = named;
        found = find(file, url, &exitCode);
        if (found.kind == Kind::Folder)
            return m_reporter.fail(QStringLiteral("%1 is a folder").arg(url.toString()), Failure);
    }
    if (found.kind == Kind::Failed)
        return exitCode;
    // A folder above it is missing.
    if (found.kind == Kind::Missing && found.folderId.isEmpty())
        return m_reporter.fail(url.toString(), file);
    const QString what = fromStandardInput ? QStringLiteral("standard input") : source;
    const qint64 limit = found.kind == Kind::Missing
            ? SizeLimit::forNewFile(url.name(), found.folderId)
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
        return m_reporter.fail(QStringLiteral("%1: %2").arg(source, input.errorString()), Failure);

    TransferProgress progress(QStringLiteral("put"));
    QObject::connect(&file, SIGNAL(progress(int)), &progress, SLOT(setPercent(int)));
    if (!file.flush())
        return m_reporter.fail(url.toString(), file);
    file.close();
    return Success;
}

std::unique_ptr<CloudFile> Commands::beginPair(const QStringList &arguments, Pair pair,
                                               RemoteUrl *from, RemoteUrl *to, int *exitCode)
{
    *from = remoteUrl(arguments.at(0), exitCode);
    if (!from->isValid())
        return nullptr;
    *to = remoteUrl(arguments.at(1), exitCode);
    if (!to->isValid())
        return nullptr;
    const bool copy = pair == Pair::Copy;
    if (from->isTop()) {
        *exitCode = m_reporter.usage(copy ? QStringLiteral("the top folder cannot be copied")
                                          : QStringLiteral("the top folder cannot be renamed"));
        return nullptr;
    }
    // Into a folder, as "mv a b/" does: the source's name there, where the plug-in can.
    const QString toFolder = to->namesFolder() ? to->path() : to->folderPath();
    if (to->namesFolder() && toFolder == from->folderPath())
        *to = to->child(from->name());
    const QString refused = pairRefusal(*from, *to, toFolder, copy);
    if (!refused.isEmpty()) {
        *exitCode = m_reporter.usage(refused);
        return nullptr;
    }
    return cloudFile(from->url(), exitCode);
}

int Commands::cp(const QStringList &arguments)
{
    int exitCode = Success;
    RemoteUrl from;
    RemoteUrl to;
    const auto file = beginPair(arguments, Pair::Copy, &from, &to, &exitCode);
    if (!file)
        return exitCode;
    const std::unique_ptr<CloudObject> source = resolve(*file, from, &exitCode);
    if (!source)
        return exitCode;
    if (source->isFolder())
        return m_reporter.fail(QStringLiteral("%1 is a folder: the service copies files only")
                                       .arg(from.toString()),
                               Failure);
    switch (find(*file, to, &exitCode).kind) {
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
    if (!file->copy(from.url(), to.url()))
        return m_reporter.fail(from.toString(), *file);
    return Success;
}

int Commands::mv(const QStringList &arguments)
{
    int exitCode = Success;
    RemoteUrl from;
    RemoteUrl to;
    const auto file = beginPair(arguments, Pair::Rename, &from, &to, &exitCode);
    if (!file)
        return exitCode;
    const std::unique_ptr<CloudObject> source = resolve(*file, from, &exitCode);
    if (!source)
        return exitCode;
    const Found destination = find(*file, to, &exitCode);
    if (destination.kind == Kind::Failed)
        return exitCode;
    // The service matches names whatever their case: the plug-in would remove the source
    // itself, as the destination, before renaming it.
    if (destination.entry && destination.entry->id() == source->id())
        return m_reporter.fail(QStringLiteral("%1 is %2 itself to the service, which matches "
                                              "names whatever their case: rename it through "
                                              "another name")
                                       .arg(to.toString(), from.toString()),
                               Failure);
    // The plug-in would remove a folder of the new name, with everything in it, and rename.
    if (destination.kind == Kind::Folder)
        return m_reporter.fail(QStringLiteral("%1 is a folder: mv replaces files only; choose "
                                              "another name or remove the folder first")
                                       .arg(to.toString()),
                               Failure);
    if (destination.kind == Kind::File)
        return ReplacingRename(*file, m_reporter, from, source->id(), to, *destination.entry).run();
    if (!file->rename(from.url(), to.url()))
        return m_reporter.fail(from.toString(), *file);
    return Success;
}

int Commands::rm(const QStringList &arguments)
{
    int exitCode = Success;
    const RemoteUrl url = remoteUrl(arguments.first(), &exitCode);
    if (!url.isValid())
        return exitCode;
    if (url.isTop())
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
    const RemoteUrl url = remoteUrl(arguments.first(), &exitCode);
    if (!url.isValid())
        return exitCode;
    if (url.isTop())
        return m_reporter.usage(QStringLiteral("give the folder a name"));
    Target target;
    if (!begin(arguments.first(), Lookup::None, &target, &exitCode))
        return exitCode;
    CloudFile &file = *target.file;

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
            return m_reporter.fail(step.toString(), file);
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
    // The chooser's own answer to a double-click names the file twice and loses its folder.
    const QUrl chosen = save
            ? CloudFileChooser::getSaveFileName(file.get(), nullptr, caption, QString(), filter)
            : CloudFileChooser::getOpenFileName(file.get(), nullptr, caption, QString(), filter);
    if (chosen.isEmpty())
        return m_reporter.fail(QStringLiteral("nothing chosen"), Failure);
    // Only what gdapp accepts is printed: a name typed in the chooser may be refused.
    const RemoteUrl url = RemoteUrl::fromUserInput(RemoteUrl::display(chosen));
    if (!url.isValid())
        return m_reporter.fail(url.errorString(), Failure);
    Reporter::out() << url.toString() << Qt::endl;
    return finishOutput();
}

int Commands::login(const QStringList &)
{
    if (m_parser.value(QStringLiteral("consent")) == QLatin1String("none"))
        return m_reporter.usage(
                QStringLiteral("login asks for a consent: not with --consent=none"));
    QString why;
    int exitCode = Success;
    if (!m_session.authoriseAgain(QUrl(QStringLiteral("gdapp:/")), &why, &exitCode))
        return m_reporter.fail(why, exitCode);
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
