// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef COMMANDS_H
#define COMMANDS_H

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
        QUrl url;
        std::unique_ptr<CloudFile> file;
        std::unique_ptr<CloudObject> entry;
    };
    enum class Lookup { None, Entry };
    // What a URL names. A lookup that fails on the way is Failed, and reported.
    enum class Kind { Missing, File, Folder, Failed };

    bool begin(const QString &text, Lookup lookup, Target *target, int *exitCode);
    QUrl remoteUrl(const QString &text, int *exitCode) const;
    // Why a command refuses a pair of URLs before asking the service anything, or nothing.
    using Refusal = QString (*)(const QUrl &from, const QUrl &to);
    // The prologue of cp and mv: two URLs that the command accepts, and a cloud file.
    std::unique_ptr<CloudFile> beginPair(const QStringList &arguments, Refusal refusal, QUrl *from,
                                         QUrl *to, int *exitCode);
    std::unique_ptr<CloudFile> cloudFile(const QUrl &url, int *exitCode);
    // The entry at url, or null with the failure reported through *exitCode.
    std::unique_ptr<CloudObject> resolve(CloudFile &file, const QUrl &url, int *exitCode) const;
    Kind kindAt(CloudFile &file, const QUrl &url, int *exitCode) const;
    int refuseLarge(const QString &what) const;
    int dialog(bool save);

    const QCommandLineParser &m_parser;
    ProviderSession &m_session;
    const Reporter &m_reporter;
};

#endif // COMMANDS_H
