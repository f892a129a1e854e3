#include "benchchild.h"

#include "cloudfile.h"
#include "serverinterface.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QPluginLoader>
#include <QRandomGenerator>
#include <QTextStream>

#include <memory>

namespace {
QByteArray content(qint64 bytes)
{
    QByteArray data(bytes, Qt::Uninitialized);
    QRandomGenerator random(42);
    random.fillRange(reinterpret_cast<quint32 *>(data.data()), data.size() / 4);
    return data;
}
} // namespace

BenchChild::BenchChild(const QStringList &arguments) : m_arguments(arguments) { }

// child OPERATION URL [BYTES], OPERATION one of login, download, upload, resolve, list.
int BenchChild::run()
{
    const QString operation = m_arguments.value(0);
    const QUrl url(m_arguments.value(1));
    QPluginLoader loader(QStringLiteral(GDAPP_BUILD_PLUGIN_PATH));
    // The root object goes on every way out, before the application object: left to Qt, it would
    // go only at exit and leak its access manager's network thread.
    const std::unique_ptr<QObject> root(loader.instance());
    auto *server = qobject_cast<ServerInterface *>(root.get());
    if (!server)
        return 10;
    std::unique_ptr<CloudFile> file(server->cloudFile(url));
    if (!file)
        return 11;
    if (operation == QLatin1String("login"))
        return 0;

    QElapsedTimer timer;
    bool ok = false;
    // A listing is its receiver's to delete, as in a host; it goes after the clock has stopped.
    QList<CloudObject *> listing;
    if (operation == QLatin1String("download")) {
        timer.start();
        ok = file->open(QIODevice::ReadOnly);
    } else if (operation == QLatin1String("upload")) {
        file->open(QIODevice::WriteOnly);
        {
            const QByteArray data = content(m_arguments.value(2).toLongLong());
            file->write(data);
        } // the host's own copy is gone: only the device's buffer remains
        timer.start();
        ok = file->flush();
    } else if (operation == QLatin1String("resolve")) {
        int status = 0;
        timer.start();
        std::unique_ptr<CloudObject> object(file->getObjectFromPath(url, status));
        ok = status == 2;
    } else if (operation == QLatin1String("list")) {
        int status = 0;
        std::unique_ptr<CloudObject> folder(file->getObjectFromPath(url, status));
        QObject::connect(file.get(), &CloudFile::objectList,
                         [&listing](const QList<CloudObject *> &objects) { listing = objects; });
        timer.start();
        ok = status == 2 && file->listObjects(folder.get());
    }
    const qint64 nanoseconds = timer.nsecsElapsed();
    qDeleteAll(listing);
    if (!ok) {
        QTextStream(stderr) << "bench: " << operation << ' ' << url.toString()
                            << " failed: " << file->errorCode() << ' ' << file->errorString()
                            << Qt::endl;
        return 12;
    }
    QTextStream(stdout) << nanoseconds / 1e6 << Qt::endl;
    return 0;
}
