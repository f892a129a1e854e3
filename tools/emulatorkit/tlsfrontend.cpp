// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "tlsfrontend.h"

#include <QFile>

#include <unistd.h>

namespace {
// Proxied as it comes: bodies stream both ways, nothing is buffered to disk or rewritten.
const char *const Configuration = R"(daemon off;
master_process on;
worker_processes 1;
pid %1/nginx.pid;
error_log %1/error.log warn;
%2
events { worker_connections 64; }
http {
    log_format frontend '$server_protocol $request_method $request_uri $status';
    access_log %1/access.log frontend;
    client_body_temp_path %1/body;
    proxy_temp_path %1/proxy;
    fastcgi_temp_path %1/fastcgi;
    uwsgi_temp_path %1/uwsgi;
    scgi_temp_path %1/scgi;
    client_max_body_size 0;
    proxy_request_buffering off;
    proxy_buffering off;
    proxy_http_version 1.1;
    server {
        listen 127.0.0.1:%3 ssl http2;
        ssl_certificate %1/trusted.pem;
        ssl_certificate_key %1/trusted.key;
        location / { proxy_pass http://127.0.0.1:%5; }
    }
    server {
        listen 127.0.0.1:%4 ssl http2;
        ssl_certificate %1/untrusted.pem;
        ssl_certificate_key %1/untrusted.key;
        location / { proxy_pass http://127.0.0.1:%5; }
    }
}
)";
} // namespace

TlsFrontEnd::TlsFrontEnd() = default;

TlsFrontEnd::~TlsFrontEnd()
{
    stop();
}

bool TlsFrontEnd::openssl(const QStringList &arguments)
{
    QProcess process;
    process.setWorkingDirectory(m_folder.path());
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(BackgroundProgram::find(QStringLiteral("openssl")), arguments);
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0) {
        m_error = QStringLiteral("openssl %1 failed: %2")
                          .arg(arguments.join(QLatin1Char(' ')),
                               QString::fromLocal8Bit(process.readAll()));
        return false;
    }
    return true;
}

// A certificate for 127.0.0.1 (and the host name, when there is one) in NAME.pem with its key in
// NAME.key, from a new authority.
bool TlsFrontEnd::issue(const QString &authority, const QString &name)
{
    const QStringList key { QStringLiteral("-newkey"), QStringLiteral("ec"),
                            QStringLiteral("-pkeyopt"), QStringLiteral("ec_paramgen_curve:P-256"),
                            QStringLiteral("-nodes") };
    QFile extensions(m_folder.filePath(name + QStringLiteral(".ext")));
    if (!extensions.open(QIODevice::WriteOnly))
        return false;
    const QByteArray alsoNamed =
            m_hostName.isEmpty() ? QByteArray() : ", DNS:" + m_hostName.toLatin1();
    extensions.write("subjectAltName = IP:127.0.0.1" + alsoNamed
                     + "\nbasicConstraints = CA:FALSE\n"
                       "keyUsage = digitalSignature\nextendedKeyUsage = serverAuth\n");
    extensions.close();
    return openssl(QStringList { QStringLiteral("req"), QStringLiteral("-x509") } + key
                   + QStringList { QStringLiteral("-keyout"), authority + QStringLiteral("-ca.key"),
                                   QStringLiteral("-out"), authority + QStringLiteral("-ca.pem"),
                                   QStringLiteral("-days"), QStringLiteral("2"),
                                   QStringLiteral("-subj"),
                                   QStringLiteral("/CN=gdapp test authority ") + authority })
            && openssl(QStringList { QStringLiteral("req") } + key
                       + QStringList { QStringLiteral("-keyout"), name + QStringLiteral(".key"),
                                       QStringLiteral("-out"), name + QStringLiteral(".csr"),
                                       QStringLiteral("-subj"), QStringLiteral("/CN=127.0.0.1") })
            && openssl({ QStringLiteral("x509"), QStringLiteral("-req"), QStringLiteral("-in"),
                         name + QStringLiteral(".csr"), QStringLiteral("-CA"),
                         authority + QStringLiteral("-ca.pem"), QStringLiteral("-CAkey"),
                         authority + QStringLiteral("-ca.key"), QStringLiteral("-CAcreateserial"),
                         QStringLiteral("-days"), QStringLiteral("2"), QStringLiteral("-extfile"),
                         name + QStringLiteral(".ext"), QStringLiteral("-out"),
                         name + QStringLiteral(".pem") });
}

bool TlsFrontEnd::makeCertificates()
{
    if (BackgroundProgram::find(QStringLiteral("openssl")).isEmpty()) {
        m_error = QStringLiteral("openssl is not installed (Debian package openssl)");
        return false;
    }
    return issue(QStringLiteral("trusted"), QStringLiteral("trusted"))
            && issue(QStringLiteral("untrusted"), QStringLiteral("untrusted"));
}

bool TlsFrontEnd::writeConfiguration(quint16 backendPort)
{
    m_port = BackgroundProgram::freePort();
    m_untrustedPort = BackgroundProgram::freePort();
    // As root, nginx would hand its workers to an account that cannot read this folder.
    const QString user = ::geteuid() == 0 ? QStringLiteral("user root root;") : QString();
    QFile file(m_folder.filePath(QStringLiteral("nginx.conf")));
    if (!m_port || !m_untrustedPort || !file.open(QIODevice::WriteOnly)) {
        m_error = QStringLiteral("cannot prepare nginx's configuration");
        return false;
    }
    file.write(QString::fromLatin1(Configuration)
                       .arg(m_folder.path(), user, QString::number(m_port),
                            QString::number(m_untrustedPort), QString::number(backendPort))
                       .toUtf8());
    return true;
}

bool TlsFrontEnd::start(quint16 backendPort, const QString &hostName)
{
    m_hostName = hostName;
    const QString nginx = BackgroundProgram::find(QStringLiteral("nginx"));
    if (nginx.isEmpty()) {
        m_error = QStringLiteral("nginx is not installed (Debian package nginx-light)");
        return false;
    }
    if (!m_folder.isValid() || !makeCertificates() || !writeConfiguration(backendPort))
        return false;
    const QString log = m_folder.filePath(QStringLiteral("error.log"));
    if (m_nginx.start(nginx,
                      { QStringLiteral("-p"), m_folder.path(), QStringLiteral("-e"), log,
                        QStringLiteral("-c"), m_folder.filePath(QStringLiteral("nginx.conf")) },
                      { m_port, m_untrustedPort }, log))
        return true;
    m_error = m_nginx.errorString();
    return false;
}

// A fast shutdown: the workers go with the master.
void TlsFrontEnd::stop()
{
    m_nginx.stop();
}

QUrl TlsFrontEnd::url() const
{
    return QUrl(QStringLiteral("https://127.0.0.1:%1").arg(m_port));
}

QUrl TlsFrontEnd::untrustedUrl() const
{
    return QUrl(QStringLiteral("https://127.0.0.1:%1").arg(m_untrustedPort));
}

QString TlsFrontEnd::caFile() const
{
    return m_folder.filePath(QStringLiteral("trusted-ca.pem"));
}

QStringList TlsFrontEnd::accessLog() const
{
    QFile log(m_folder.filePath(QStringLiteral("access.log")));
    if (!log.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(log.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}
