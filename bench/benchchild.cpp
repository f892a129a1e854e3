// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "benchchild.h"

#include "cloudcodes.h"
#include "cloudfile.h"
#include "serverinterface.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPluginLoader>
#include <QRandomGenerator>
#include <QSslConfiguration>
#include <QTextStream>

#include <limits>
#include <memory>

namespace {
constexpr qint64 Piece = 4 * 1024 * 1024;

// Writes bytes of random content, the same in every run, a piece at a time as a host streams its
// data in: the content is held once, by the device.
void writeContent(QIODevice *device, qint64 bytes)
{
    QRandomGenerator random(42);
    QByteArray piece;
    for (qint64 written = 0; written < bytes; written += piece.size()) {
        piece.resize(qMin(Piece, bytes - written));
        random.fillRange(reinterpret_cast<quint32 *>(piece.data()), piece.size() / 4);
        device->write(piece);
    }
}

// As a host that trusts another authority does (gdapp --cacert).
void trustGivenAuthority()
{
    const QString file = qEnvironmentVariable("GDAPP_CA_FILE");
    if (file.isEmpty())
        return;
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.addCaCertificates(file);
    QSslConfiguration::setDefaultConfiguration(configuration);
}
} // namespace

BenchChild::BenchChild(const QStringList &arguments) : m_arguments(arguments) { }

int BenchChild::run()
{
    trustGivenAuthority();
    if (m_arguments.value(0) == QLatin1String("plain"))
        return plainRequest();
    return pluginOperation();
}

// plain METHOD URL BODY-FILE [NAME: VALUE]...: Qt's own request of the same bytes, with nothing
// around it; what the plug-in's transfers cannot go below. A download is read whole when it
// has finished and hashed, the plainest way.
int BenchChild::plainRequest()
{
    const QByteArray method = m_arguments.value(1).toLatin1();
    QNetworkRequest request(QUrl(m_arguments.value(2)));
    QByteArray body;
    QFile bodyFile(m_arguments.value(3));
    if (!bodyFile.fileName().isEmpty() && bodyFile.open(QIODevice::ReadOnly))
        body = bodyFile.readAll();
    for (const QString &header : m_arguments.mid(4)) {
        const qsizetype colon = header.indexOf(QLatin1Char(':'));
        request.setRawHeader(header.left(colon).toLatin1(),
                             header.mid(colon + 1).trimmed().toLatin1());
    }
    QNetworkAccessManager manager;
    QEventLoop loop;
    QElapsedTimer timer;
    timer.start();
    QNetworkReply *reply = method == "GET" ? manager.get(request)
                                           : manager.sendCustomRequest(request, method, body);
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    if (reply->error() != QNetworkReply::NoError) {
        QTextStream(stderr) << "bench: plain " << method << " failed: " << reply->errorString()
                            << Qt::endl;
        return 12;
    }
    if (method == "GET")
        QCryptographicHash::hash(reply->readAll(), QCryptographicHash::Md5);
    const qint64 nanoseconds = timer.nsecsElapsed();
    delete reply;
    QTextStream(stdout) << nanoseconds / 1e6 << Qt::endl;
    return 0;
}

// OPERATION URL [BYTES], OPERATION one of login, download, upload, resolve, list: the plug-in,
// loaded as a host loads it.
int BenchChild::pluginOperation()
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
        file->setFlushThreshold(std::numeric_limits<qint64>::max()); // stored once, by flush()
        file->open(QIODevice::WriteOnly);
        writeContent(file.get(), m_arguments.value(2).toLongLong());
        timer.start();
        ok = file->flush();
    } else if (operation == QLatin1String("resolve")) {
        int status = Cloud::NothingFound;
        timer.start();
        std::unique_ptr<CloudObject> object(file->getObjectFromPath(url, status));
        ok = status == Cloud::PathFound;
    } else if (operation == QLatin1String("list")) {
        int status = Cloud::NothingFound;
        std::unique_ptr<CloudObject> folder(file->getObjectFromPath(url, status));
        QObject::connect(file.get(), &CloudFile::objectList,
                         [&listing](const QList<CloudObject *> &objects) { listing = objects; });
        timer.start();
        ok = status == Cloud::PathFound && file->listObjects(folder.get());
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
