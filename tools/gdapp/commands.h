// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef COMMANDS_H
#define COMMANDS_H

#include "remoteurl.h"

#include <QStringList>
#include <QUrl>

#include <memory>

class CloudFile;
class CloudObject;
class ProviderSession;
class QCommandLineParser;
class Reporter;

// gdapp's commands over the provider's cloud files. Each receives its arguments already counted
// and returns gdapp's exit status; failures are told through the reporter.
class Commands
{
public:
    Commands(const QCommandLineParser &parser, ProviderSession &session, const Reporter &reporter);
    ~Commands();

    int ls(const QStringList &arguments);
    int stat(const QStringList &arguments);
    int get(const QStringList &arguments);
    int put(const QStringList &arguments);
    int cp(const QStringList &arguments);
    int mv(const QStringList &arguments);
    int rm(const QStringList &arguments);
    int mkdir(const QStringList &arguments);
    int openDialog(const QStringList &arguments);
    int saveDialog(const QStringList &arguments);
    int login(const QStringList &arguments);
    int logout(const QStringList &arguments);

private:
    // What most commands start with: the remote URL given, a cloud file for it and, for those
    // that need it, the entry the URL names.
    struct Target
    {
        RemoteUrl remote;
        std::unique_ptr<CloudFile> file;
        std::unique_ptr<CloudObject> entry;
    };
    enum class Lookup { None, Entry };
    // What a URL names. A lookup that fails on the way is Failed, and reported.
    enum class Kind { Missing, File, Folder, Failed };
    struct Found
    {
        Kind kind = Kind::Failed;
        std::unique_ptr<CloudObject> entry; // for File and Folder
        QString folderId; // for Missing: the folder that would hold it, when there is one
    };
    // Which of cp and mv: what they refuse differs.
    enum class Pair { Copy, Rename };

    bool begin(const QString &text, Lookup lookup, Target *target, int *exitCode);
    // The URL typed, or an invalid one with the reason reported through *exitCode.
    RemoteUrl remoteUrl(const QString &text, int *exitCode) const;
    // The prologue of cp and mv: two URLs that the command accepts, and a cloud file.
    std::unique_ptr<CloudFile> beginPair(const QStringList &arguments, Pair pair, RemoteUrl *from,
                                         RemoteUrl *to, int *exitCode);
    std::unique_ptr<CloudFile> cloudFile(const QUrl &url, int *exitCode);
    // The entry at url, or null with the failure reported through *exitCode.
    std::unique_ptr<CloudObject> resolve(CloudFile &file, const RemoteUrl &url,
                                         int *exitCode) const;
    Found find(CloudFile &file, const RemoteUrl &url, int *exitCode) const;
    // what is larger than the limit given, the content the plug-in can upload or download.
    int refuseLarge(const QString &what, qint64 limit) const;
    // Standard output took everything written to it, or the command fails.
    int finishOutput() const;
    int dialog(bool save);

    const QCommandLineParser &m_parser;
    ProviderSession &m_session;
    const Reporter &m_reporter;
};

#endif // COMMANDS_H
