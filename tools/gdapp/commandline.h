#ifndef COMMANDLINE_H
#define COMMANDLINE_H

#include "consenthandler.h"
#include "pluginlocator.h"

#include <QCommandLineParser>
#include <QStringList>
#include <QUrl>

#include <memory>

class CloudFile;
class CloudObject;
class ServerInterface;

// gdapp's commands over the storage provider plug-in, loaded as Tarnwick loads it.
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
    using Command = int (CommandLine::*)(const QStringList &);
    struct CommandInfo
    {
        const char *name;
        const char *synopsis;
        const char *description;
        Command run;
        QList<QCommandLineOption> options;
    };

    static QList<CommandInfo> commands();
    void addGlobalOptions();
    int usage(const QString &message);

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
    int dialog(bool save);
    int login(const QStringList &arguments);
    int logout(const QStringList &arguments);

    // A cloud file of the provider for url, authorising first when needed; null with the
    // failure reported through *exitCode.
    std::unique_ptr<CloudFile> open(const QUrl &url, int *exitCode);
    // The entry at url (status 2) or null, with the failure reported through *exitCode.
    std::unique_ptr<CloudObject> resolve(CloudFile *file, const QUrl &url, int *exitCode);
    std::unique_ptr<CloudObject> root(CloudFile *file);
    int fail(const QString &what, CloudFile *file);
    int fail(const QString &message, int exitCode);
    QUrl remoteUrl(const QString &text, int *exitCode);
    bool remoteUrlPair(const QStringList &arguments, QUrl *from, QUrl *to, int *exitCode);
    bool sameFolder(const QUrl &a, const QUrl &b) const;

    QStringList m_arguments;
    QString m_command;
    QCommandLineParser m_parser;
    std::unique_ptr<PluginLocator> m_locator;
    ServerInterface *m_server = nullptr;
    std::unique_ptr<ConsentHandler> m_consent;
    QString m_consentFailure;
};

#endif // COMMANDLINE_H
