// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "cloudcodes.h"
#include "cloudfileerror.h"

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

// The failed exchange of a row: its error, text, status and reason phrase. No error: none failed.
struct Exchange
{
    int error = QNetworkReply::NoError;
    QString text;
    int status = 0;
    QString reason;
};
} // namespace

Q_DECLARE_METATYPE(Exchange)

// How gdapp reads a cloud file's last error, with the exchange that failed last: what it tells
// the user and the exit status. The end-to-end cases live in tst_gdappcli, tst_faultinjection and
// tst_stallsandoutages; these are the readings that a live service cannot be made to show.
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
    QTest::addColumn<ExitCode>("exitCode");
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
    const Exchange unauthorised = answer(QNetworkReply::AuthenticationRequiredError,
                                         "Host requires authentication", 401, "Unauthorized");
    QTest::newRow("path not found")
            << int(Cloud::PathNotFound) << noError << Exchange() << true << ExitCode::NotFound << 0
            << "no such file or folder (plug-in error 403)";
    // The lookup puts its own code in place of the reply's: the exchange tells the status.
    QTest::newRow("credentials refused to a lookup")
            << int(Cloud::PathNotFound) << unauthorised.text << unauthorised << false
            << ExitCode::NotAuthorised << 401
            << "server replied: Unauthorized (HTTP 401, plug-in error 403)";
    // HTTP/2 has no reason phrases.
    QTest::newRow("server error over HTTP/2")
            << int(QNetworkReply::InternalServerError) << replied
            << answer(QNetworkReply::InternalServerError, replied, 500, "") << false
            << ExitCode::ServiceError << 500
            << "server replied: Internal Server Error (HTTP 500, plug-in error 401)";
    QTest::newRow("a status of no phrase known over HTTP/2")
            << int(QNetworkReply::UnknownServerError) << replied
            << answer(QNetworkReply::UnknownServerError, replied, 599, "") << false
            << ExitCode::ServiceError << 599
            << "server replied with an error (HTTP 599, plug-in error 499)";
    // Qt's code for a 4xx it has none for is the plug-in's code for corrupted data.
    QTest::newRow("a status that Qt gives the corrupted-data code")
            << int(QNetworkReply::UnknownContentError) << replied + "I'm a teapot"
            << answer(QNetworkReply::UnknownContentError, replied + "I'm a teapot", 418,
                      "I'm a teapot")
            << false << ExitCode::ServiceError << 418
            << "server replied: I'm a teapot (HTTP 418, plug-in error 299)";
    QTest::newRow("an earlier failure explains nothing")
            << int(QNetworkReply::ConnectionRefusedError) << "Connection refused" << unauthorised
            << false << ExitCode::ServiceError << 0 << "Connection refused (plug-in error 1)";
    // A success status is no answer of the service's own.
    QTest::newRow("an answer that broke off")
            << int(QNetworkReply::RemoteHostClosedError) << "Connection closed"
            << answer(QNetworkReply::RemoteHostClosedError, "Connection closed", 200, "OK") << false
            << ExitCode::ServiceError << 0
            << "the answer from the service broke off: Connection closed";
    QTest::newRow("refused without a request, placeholders in the text kept")
            << int(QNetworkReply::NoError) << "%1 %2 %3" << Exchange() << false << ExitCode::Failure
            << 0 << "%1 %2 %3 (plug-in error 0)";
}

void TestCloudFileError::mapping()
{
    QFETCH(int, code);
    QFETCH(QString, text);
    QFETCH(Exchange, exchange);

    ExchangeFailure failure;
    if (exchange.error != QNetworkReply::NoError) {
        const FinishedReply reply(exchange.error, exchange.text, exchange.status, exchange.reason);
        failure = ExchangeFailure(reply, 0);
    }
    const CloudFileError error(code, text, failure);
    QTEST(error.isNotFound(), "notFound");
    QTEST(error.exitCode(), "exitCode");
    QTEST(error.httpStatus(), "httpStatus");
    QTEST(error.describe(), "described");
}

QTEST_GUILESS_MAIN(TestCloudFileError)
#include "tst_cloudfileerror.moc"
