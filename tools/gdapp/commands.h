// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef COMMANDS_H
#define COMMANDS_H

#include "remoteurl.h"
#include "result.h"

#include <QStringList>
#include <QUrl>

#include <functional>
#include <memory>

class CloudFile;
class CloudObject;
class ProviderSession;
class QCommandLineParser;
class QFile;
class Reporter;

// gdapp's commands over the provider's cloud files. Each receives its arguments already counted
// and returns what it came to, which the command line reports.
class Commands
{
public:
    Commands(const QCommandLineParser &parser, ProviderSession &session, const Reporter &reporter);
    ~Commands();
    // Standard output took everything written to it, or the command fails.
    static Outcome finishOutput();

    Outcome ls(const QStringList &arguments);
    Outcome stat(const QStringList &arguments);
    Outcome get(const QStringList &arguments);
    Outcome put(const QStringList &arguments);
    Outcome cp(const QStringList &arguments);
    Outcome mv(const QStringList &arguments);
    Outcome rm(const QStringList &arguments);
    Outcome mkdir(const QStringList &arguments);
    Outcome openDialog(const QStringList &arguments);
    Outcome saveDialog(const QStringList &arguments);
    Outcome login(const QStringList &arguments);
    Outcome logout(const QStringList &arguments);

private:
    // What most commands start with: the remote URL given, a cloud file for it and, for those
    // that need it, the entry the URL names.
    struct Target
    {
        RemoteUrl remote;
        std::unique_ptr<CloudFile> file;
        std::unique_ptr<CloudObject> entry;
    };
    // Whether the entry the URL names is looked up: never, always, or when the URL names a
    // folder (with a trailing slash), which must then be there.
    enum class Lookup { None, Entry, NamedFolder };
    // What a command refuses in the URL given, before the service is asked anything.
    using Refusal = std::function<Outcome(const RemoteUrl &)>;
    // What a URL names.
    enum class Kind { Missing, File, Folder };
    struct Found
    {
        Kind kind = Kind::Missing;
        std::unique_ptr<CloudObject> entry; // for File and Folder
        QString folderId; // for Missing: the folder that would hold it, when there is one
    };
    // Which of cp and mv: what they refuse differs.
    enum class Pair { Copy, Rename };

    // The prologue of every command on a URL: the URL typed, what the command refuses in it, a
    // cloud file for it and, as lookup says, the entry it names.
    Result<Target> begin(const QString &text, Lookup lookup, const Refusal &refuse = {});
    // The prologue of cp and mv: the source, as begin() gives it, and in *to the destination
    // that the command accepts.
    Result<Target> beginPair(const QStringList &arguments, Pair pair, RemoteUrl *to);
    static Refusal refuseTop(const QString &why);
    // The URL typed, or why it is refused.
    static Result<RemoteUrl> remoteUrl(const QString &text);
    Result<std::unique_ptr<CloudObject>> resolve(CloudFile &file, const RemoteUrl &url) const;
    Result<Found> find(CloudFile &file, const RemoteUrl &url) const;
    // What put reads, opened, and in *named the URL it takes in the folder url names.
    Outcome openUpload(const QString &source, const RemoteUrl &url, QFile *input,
                       RemoteUrl *named) const;
    // what is larger than the limit given, the content the plug-in can upload or download.
    static Outcome refuseLarge(const QString &what, qint64 limit);
    Outcome dialog(bool save);

    const QCommandLineParser &m_parser;
    ProviderSession &m_session;
    const Reporter &m_reporter;
};

#endif // COMMANDS_H
