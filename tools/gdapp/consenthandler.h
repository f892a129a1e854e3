#ifndef CONSENTHANDLER_H
#define CONSENTHANDLER_H

#include <QNetworkAccessManager>
#include <QObject>
#include <QUrl>

// Receives the consent address that the plug-in would open in the browser: prints it, then
// opens a browser (the command given, or the desktop's when there is one) or, for unattended
// runs against an emulator that approves by itself, fetches it.
class ConsentHandler : public QObject
{
    Q_OBJECT

public:
    enum Mode { Browser, Fetch, Print };

    ConsentHandler(Mode mode, const QString &browserCommand, QObject *parent = nullptr);
    ~ConsentHandler() override;

signals:
    // No answer can come: the consent needs a person, or was refused. The caller gives up.
    void consentAbandoned(const QString &why);

public slots:
    void openUrl(const QUrl &url);

private:
    bool openInBrowser(const QUrl &url);
    static bool startBrowser(const QString &program, const QStringList &arguments);
    void fetch(const QUrl &url, int redirectsLeft);
    void abandon(const QString &why);

    Mode m_mode;
    QString m_browserCommand;
    QNetworkAccessManager m_manager;
    int m_requests = 0;
    bool m_abandoned = false;
};

#endif // CONSENTHANDLER_H
