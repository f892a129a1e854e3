// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

// A host as a developer writes one from the development package alone, with the example
// editor's settings protection, run without a person: it protects its settings, loads the
// plug-in, lists the store's root, chooses FILE (a path such as Reports/notes.txt: a click on
// each folder, then a double-click on the file) in the chooser (reporting which icons its tool
// buttons show), opens what was chosen and saves TEXT as SAVED. It prints what it saw, one fact
// a line, for the calling test to judge.
//   host FILE SAVED TEXT

#include "cloudfile.h"
#include "cloudfilechooser.h"
#include "serverinterface.h"
#include "settingsfile.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QDesktopServices>
#include <QDialog>
#include <QIcon>
#include <QImage>
#include <QMouseEvent>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPluginLoader>
#include <QSettings>
#include <QTextStream>
#include <QTimer>
#include <QToolButton>

#include <memory>
#include <utility>

namespace {
QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

// The consent page, fetched as a browser would, from an emulator that approves by itself; the
// redirect it answers with reaches the plug-in's loopback listener.
class ConsentFetcher : public QObject
{
    Q_OBJECT

public slots:
    void open(const QUrl &url)
    {
        QNetworkReply *reply = m_manager.get(QNetworkRequest(url));
        connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
    }

private:
    QNetworkAccessManager m_manager;
};

// Whether the button shows, at its size, the library's icon (the file that the library's
// resources hold) or another.
QString iconOf(const QToolButton *button, const QString &file)
{
    const QImage shown = button->icon().pixmap(button->iconSize()).toImage();
    const QImage library = QImage(QStringLiteral(":/icons/") + file)
                                   .scaled(button->iconSize())
                                   .convertToFormat(shown.format());
    return !shown.isNull() && shown == library ? QStringLiteral("the library's")
                                               : QStringLiteral("another");
}

void mouse(QWidget *widget, QEvent::Type type, const QPoint &at)
{
    const Qt::MouseButtons buttons =
            type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, at, widget->mapToGlobal(at), Qt::LeftButton, buttons, Qt::NoModifier);
    QApplication::sendEvent(widget, &event);
}

// Once the chooser shows: reports its tool buttons, then clicks each folder of the path and
// double-clicks its file as a person does (a click, then a double-click), each once listed.
class ChooserDriver : public QObject
{
    Q_OBJECT

public:
    explicit ChooserDriver(const QString &path) : m_names(path.split(QLatin1Char('/')))
    {
        connect(&m_poll, &QTimer::timeout, this, &ChooserDriver::poll);
        m_poll.start(20);
    }

private slots:
    void poll()
    {
        auto *chooser = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        if (!chooser || chooser->objectName() != QLatin1String("CloudFileDialog"))
            return;
        auto *view = chooser->findChild<QAbstractItemView *>(QStringLiteral("treeView"));
        const QModelIndexList rows = view->model()->match(
                view->model()->index(0, 0), Qt::DisplayRole, m_names.first(), 1, Qt::MatchExactly);
        if (rows.isEmpty())
            return; // not listed yet
        if (!m_buttonsReported)
            reportButtons(chooser);
        const QPoint at = view->visualRect(rows.first()).center();
        QList<QEvent::Type> clicks = { QEvent::MouseButtonPress, QEvent::MouseButtonRelease };
        m_names.removeFirst();
        if (m_names.isEmpty()) {
            m_poll.stop();
            clicks += { QEvent::MouseButtonDblClick, QEvent::MouseButtonRelease };
        }
        for (QEvent::Type type : clicks)
            mouse(view->viewport(), type, at);
    }

private:
    void reportButtons(QDialog *chooser)
    {
        m_buttonsReported = true;
        for (const auto &[name, file] : { std::pair("cdToParent", "go-up.png"),
                                          std::pair("refreshView", "view-refresh.png") }) {
            const auto *button = chooser->findChild<QToolButton *>(QLatin1String(name));
            out() << "icon " << name << ": " << iconOf(button, QLatin1String(file)) << Qt::endl;
        }
    }

    QStringList m_names;
    bool m_buttonsReported = false;
    QTimer m_poll;
};

// Names of the listing that objectList() delivers, connected by name: the host's copy of
// CloudFile is not the plug-in's.
class Listing : public QObject
{
    Q_OBJECT

public:
    QStringList names;

public slots:
    void take(const QList<CloudObject *> &objects)
    {
        for (const CloudObject *object : objects)
            names.append(object->fileName()
                         + (object->isFolder() ? QStringLiteral("/") : QString()));
        qDeleteAll(objects);
    }
};

bool session(ServerInterface *provider, const QStringList &arguments)
{
    const QString file = arguments.value(1);
    const QUrl saved(arguments.value(2));
    const QString text = arguments.value(3);

    const std::unique_ptr<CloudFile> root(provider->cloudFile(QUrl(QStringLiteral("gdapp:/"))));
    if (!root) {
        out() << "not authorised" << Qt::endl;
        return false;
    }
    // A file of its own: whoever receives a listing owns its objects, and the chooser's model
    // takes those of the file it runs over.
    const std::unique_ptr<CloudFile> lister(provider->cloudFile(QUrl(QStringLiteral("gdapp:/"))));
    Listing listing;
    QObject::connect(lister.get(), SIGNAL(objectList(QList<CloudObject *>)), &listing,
                     SLOT(take(QList<CloudObject *>)));
    const std::unique_ptr<CloudObject> top(lister->getCloudObject());
    lister->listObjects(top.get());
    listing.names.sort();
    out() << "listed: " << listing.names.join(QLatin1Char(' ')) << Qt::endl;

    ChooserDriver driver(file);
    const QUrl url = CloudFileChooser::getOpenFileName(root.get(), nullptr, QStringLiteral("Open"),
                                                       QString(), QStringLiteral("Texts (*.txt)"));
    out() << "chosen: " << url.toString() << Qt::endl;

    const std::unique_ptr<CloudFile> opened(provider->cloudFile(url));
    if (!opened || !opened->open(QIODevice::ReadOnly)) {
        out() << "open failed: " << (opened ? opened->errorString() : QString()) << Qt::endl;
        return false;
    }
    out() << "read: " << QString::fromUtf8(opened->readAll()) << Qt::endl;

    const std::unique_ptr<CloudFile> written(provider->cloudFile(saved));
    written->open(QIODevice::WriteOnly);
    written->write(text.toUtf8());
    if (!written->flush()) {
        out() << "save failed: " << written->errorString() << Qt::endl;
        return false;
    }
    out() << "saved: " << saved.toString() << Qt::endl;
    return true;
}
} // namespace

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Tarnwick"));
    QCoreApplication::setApplicationName(QStringLiteral("gdapp-test-host"));
    QString error;
    if (!SettingsFile::protect(&error)) {
        out() << "settings: " << error << Qt::endl;
        return 1;
    }
    out() << "settings: " << QSettings().fileName() << Qt::endl;

    ConsentFetcher consent;
    QDesktopServices::setUrlHandler(QStringLiteral("http"), &consent, "open");
    QPluginLoader loader(qEnvironmentVariable("GDAPP_PLUGIN_PATH"));
    auto *provider = qobject_cast<ServerInterface *>(loader.instance());
    if (!provider) {
        out() << "no provider: " << loader.errorString() << Qt::endl;
        return 1;
    }
    const bool done = session(provider, QCoreApplication::arguments());
    delete loader.instance();
    QDesktopServices::unsetUrlHandler(QStringLiteral("http"));
    return done ? 0 : 1;
}

#include "main.moc"
