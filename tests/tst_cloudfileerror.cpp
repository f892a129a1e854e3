// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "cloudfileerror.h"
#include "memorycloudfile.h"

#include <QNetworkReply>
#include <QtTest>

namespace {
// A reply as it finished, for the exchange that the host saw fail.
class FinishedReply : public QNetworkReply
{
public:
    FinishedReply(int error, const QString &text, int status, const QString &reason)
    {
        setUrl(QUrl(QStringLiteral("http://127.0.0.1:1/drive/v3/files")));
        setError(NetworkError(error), text);
        if (status > 0) {
            setAttribute(QNetworkRequest::HttpStatusCodeAttribute, status);
            setAttribute(QNetworkRequest::HttpReasonPhraseAttribute, reason);
        }
        setFinished(true);
    }
    void abort() override { }

protected:
    qint64 readData(char *, qint64) override { return -1; }
};

// The failed exchange of a row: its error, text, status and reason phrase, the time-out it
// stalled for and whether its request went out whole. No error: none failed.
struct Exchange
{
    int error = QNetworkReply::NoError;
    QString text;
    int status = 0;
    QString reason;
    int stalledFor = 0;
    bool delivered = false;
};
} // namespace

Q_DECLARE_METATYPE(Exchange)

// How gdapp reads a cloud file's last error, with the exchange that failed last: what it tells
// the user and the exit status.
class TestCloudFileError : public QObject
{
    Q_OBJECT

private slots:
    void mapping_data();
    void mapping();
};

void TestCloudFileError::mapping_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::addColumn<Exchange>("exchange");
    QTest::addColumn<bool>("notFound");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<int>("httpStatus");
    QTest::addColumn<QString>("described");

    // A lookup that worked and found nothing leaves the text of a reply without error.
    const QString noError = QIODevice::tr("Unknown error");
    const QString replied =
            QStringLiteral("Error transferring http://h/drive/v3/files?q=name%3D'a' "
                           "- server replied: ");
    const auto answer = [](int error, const QString &text, int status, const char *reason) {
        return Exchange { error, text, status, QString::fromLatin1(reason) };
    };
    QTest::newRow("path not found")
            << 403 << noError << Exchange() << true << int(ExitCode::NotFound) << 0
            << "no such file or folder (plug-in error 403)";
    // The lookup puts its own code in place of the reply's: the exchange tells the status.
    QTest::newRow("lookup refused on the way")
            << 403 << replied + "Bad Request"
            << answer(QNetworkReply::ProtocolInvalidOperationError, replied + "Bad Request", 400,
                      "Bad Request")
            << false << int(ExitCode::ServiceError) << 400
            << "server replied: Bad Request (HTTP 400, plug-in error 403)";
    QTest::newRow("credentials refused to a lookup")
            << 403 << "Host requires authentication"
            << answer(QNetworkReply::AuthenticationRequiredError, "Host requires authentication",
                      401, "Unauthorized")
            << false << int(ExitCode::NotAuthorised) << 401
            << "server replied: Unauthorized (HTTP 401, plug-in error 403)";
    QTest::newRow("entry gone") << int(QNetworkReply::ContentNotFoundError) << replied + "Not Found"
                                << answer(QNetworkReply::ContentNotFoundError,
                                          replied + "Not Found", 404, "Not Found")
                                << false << int(ExitCode::NotFound) << 404
                                << "server replied: Not Found (HTTP 404, plug-in error 203)";
    // HTTP/2 has no reason phrases.
    QTest::newRow("server error over HTTP/2")
            << int(QNetworkReply::InternalServerError) << replied
            << answer(QNetworkReply::InternalServerError, replied, 500, "") << false
            << int(ExitCode::ServiceError) << 500
            << "server replied: Internal Server Error (HTTP 500, plug-in error 401)";
    QTest::newRow("a status of no phrase known over HTTP/2")
            << int(QNetworkReply::UnknownServerError) << replied
            << answer(QNetworkReply::UnknownServerError, replied, 599, "") << false
            << int(ExitCode::ServiceError) << 599
            << "server replied with an error (HTTP 599, plug-in error 499)";
    // Qt's code for a 4xx it has none for is the plug-in's code for corrupted data.
    QTest::newRow("a status that Qt gives the corrupted-data code")
            << int(QNetworkReply::UnknownContentError) << replied + "I'm a teapot"
            << answer(QNetworkReply::UnknownContentError, replied + "I'm a teapot", 418,
                      "I'm a teapot")
            << false << int(ExitCode::ServiceError) << 418
            << "server replied: I'm a teapot (HTTP 418, plug-in error 299)";
    QTest::newRow("an earlier failure explains nothing")
            << int(QNetworkReply::ConnectionRefusedError) << "Connection refused"
            << answer(QNetworkReply::AuthenticationRequiredError, "Host requires authentication",
                      401, "Unauthorized")
            << false << int(ExitCode::ServiceError) << 0 << "Connection refused (plug-in error 1)";
    QTest::newRow("no answer") << int(QNetworkReply::ConnectionRefusedError) << "Connection refused"
                               << answer(QNetworkReply::ConnectionRefusedError,
                                         "Connection refused", 0, "")
                               << false << int(ExitCode::ServiceError) << 0
                               << "cannot reach the service: Connection refused";
    QTest::newRow("an answer that broke off")
            << int(QNetworkReply::RemoteHostClosedError) << "Connection closed"
            << answer(QNetworkReply::RemoteHostClosedError, "Connection closed", 200, "OK") << false
            << int(ExitCode::ServiceError) << 0
            << "the answer from the service broke off: Connection closed";
    QTest::newRow("no answer in time to a request sent whole")
            << int(QNetworkReply::OperationCanceledError) << "Operation canceled"
            << Exchange { QNetworkReply::OperationCanceledError,
                          "Operation canceled",
                          0,
                          "",
                          5,
                          true }
            << false << int(ExitCode::ServiceError) << 0
            << "no answer from the service in 5 s (see --timeout); the request had gone out "
               "whole, so the service may have stored it";
    QTest::newRow("no answer in time to a request on its way")
            << int(QNetworkReply::OperationCanceledError) << "Operation canceled"
            << Exchange { QNetworkReply::OperationCanceledError,
                          "Operation canceled",
                          0,
                          "",
                          5,
                          false }
            << false << int(ExitCode::ServiceError) << 0
            << "no answer from the service in 5 s (see --timeout)";
    QTest::newRow("corrupted download") << 299 << "Les données reçues sont corrompues" << Exchange()
                                        << false << int(ExitCode::CorruptedData) << 0
                                        << "Les données reçues sont corrompues (plug-in error 299)";
    QTest::newRow("refused without a request")
            << 0 << "Le répertoire existe déjà" << Exchange() << false << int(ExitCode::Failure)
            << 0 << "Le répertoire existe déjà (plug-in error 0)";
    QTest::newRow("placeholders in the text stay")
            << int(QNetworkReply::InternalServerError) << "%1 %2 %3" << Exchange() << false
            << int(ExitCode::ServiceError) << 0 << "%1 %2 %3 (plug-in error 401)";
}

void TestCloudFileError::mapping()
{
    QFETCH(int, code);
    QFETCH(QString, text);
    QFETCH(Exchange, exchange);
    QFETCH(bool, notFound);
    QFETCH(int, exitCode);
    QFETCH(int, httpStatus);
    QFETCH(QString, described);

    MemoryCloudFile file(QSharedPointer<MemoryStore>::create(), QUrl(QStringLiteral("mem:/a")));
    file.setError(code, text);
    ExchangeFailure failure;
    if (exchange.error != QNetworkReply::NoError) {
        const FinishedReply reply(exchange.error, exchange.text, exchange.status, exchange.reason);
        failure = ExchangeFailure(reply, exchange.stalledFor, exchange.delivered);
    }
    const CloudFileError error(file, failure);
    QCOMPARE(error.isNotFound(), notFound);
    QCOMPARE(int(error.exitCode()), exitCode);
    QCOMPARE(error.httpStatus(), httpStatus);
    QCOMPARE(error.describe(), described);
}

QTEST_GUILESS_MAIN(TestCloudFileError)
#include "tst_cloudfileerror.moc"
