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
        setAttribute(QNetworkRequest::HttpStatusCodeAttribute, status);
        setAttribute(QNetworkRequest::HttpReasonPhraseAttribute, reason);
        setFinished(true);
    }
    void abort() override { }

protected:
    qint64 readData(char *, qint64) override { return -1; }
};

// The exchange that failed last: Qt's error and text, the status and its reason phrase ("" over
// HTTP/2, which has none).
ExchangeFailure failed(int error, const QString &text, int status, const char *reason)
{
    return ExchangeFailure(FinishedReply(error, text, status, QString::fromLatin1(reason)), 0);
}
} // namespace

Q_DECLARE_METATYPE(ExchangeFailure)

// How gdapp reads a cloud file's last error, with the exchange that failed last: what it tells
// the user and the exit status. The end-to-end cases live in tst_gdappcli, tst_faultinjection,
// tst_stallsandoutages and tst_secrets; these are the readings that a live service cannot be
// made to show.
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
    QTest::addColumn<ExchangeFailure>("failure");
    QTest::addColumn<ExitCode>("exitCode");
    QTest::addColumn<QString>("described");

    const QString replied =
            QStringLiteral("Error transferring http://h/drive/v3/files?q=name%3D'a' "
                           "- server replied: ");
    const QString unauthorised = QStringLiteral("Host requires authentication");
    const ExchangeFailure refused =
            failed(QNetworkReply::AuthenticationRequiredError, unauthorised, 401, "");
    // The lookup puts its own code in place of the reply's: the exchange tells the status, and
    // over HTTP/2 the phrase comes from the known statuses.
    QTest::newRow("credentials refused to a lookup over HTTP/2")
            << int(Cloud::PathNotFound) << unauthorised << refused << ExitCode::NotAuthorised
            << "server replied: Unauthorized (HTTP 401, plug-in error 403)";
    QTest::newRow("a status of no phrase known over HTTP/2")
            << int(QNetworkReply::UnknownServerError) << replied
            << failed(QNetworkReply::UnknownServerError, replied, 599, "") << ExitCode::ServiceError
            << "server replied with an error (HTTP 599, plug-in error 499)";
    // Qt's code for a 4xx it has none for is the plug-in's code for corrupted data.
    QTest::newRow("a status that Qt gives the corrupted-data code")
            << int(QNetworkReply::UnknownContentError) << replied + "I'm a teapot"
            << failed(QNetworkReply::UnknownContentError, replied + "I'm a teapot", 418,
                      "I'm a teapot")
            << ExitCode::ServiceError
            << "server replied: I'm a teapot (HTTP 418, plug-in error 299)";
    QTest::newRow("an earlier failure explains nothing")
            << int(QNetworkReply::ConnectionRefusedError) << "Connection refused" << refused
            << ExitCode::ServiceError << "Connection refused (plug-in error 1)";
    // A success status is no answer of the service's own.
    QTest::newRow("an answer that broke off")
            << int(QNetworkReply::RemoteHostClosedError) << "Connection closed"
            << failed(QNetworkReply::RemoteHostClosedError, "Connection closed", 200, "OK")
            << ExitCode::ServiceError << "the answer from the service broke off: Connection closed";
    QTest::newRow("refused without a request, placeholders in the text kept")
            << int(QNetworkReply::NoError) << "%1 %2 %3" << ExchangeFailure() << ExitCode::Failure
            << "%1 %2 %3 (plug-in error 0)";
}

void TestCloudFileError::mapping()
{
    QFETCH(int, code);
    QFETCH(QString, text);
    QFETCH(ExchangeFailure, failure);

    const CloudFileError error(code, text, failure);
    QTEST(error.exitCode(), "exitCode");
    QTEST(error.describe(), "described");
}

QTEST_GUILESS_MAIN(TestCloudFileError)
#include "tst_cloudfileerror.moc"
