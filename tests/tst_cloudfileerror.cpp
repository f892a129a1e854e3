// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "cloudfileerror.h"
#include "memorycloudfile.h"

#include <QNetworkReply>
#include <QtTest>

// How gdapp reads a cloud file's last error: what it tells the user and the exit status.
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
    QTest::addColumn<bool>("notFound");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<int>("httpStatus");
    QTest::addColumn<QString>("described");

    // A lookup that worked and found nothing leaves the text of a reply without error.
    const QString noError = QIODevice::tr("Unknown error");
    const QString replied =
            QStringLiteral("Error transferring http://h/drive/v3/files?q=name%3D'a' "
                           "- server replied: ");
    QTest::newRow("path not found") << 403 << noError << true << int(NotFound) << 0
                                    << "no such file or folder (plug-in error 403)";
    // The lookup puts its own code in place of the reply's: the phrase tells the status.
    QTest::newRow("lookup refused on the way")
            << 403 << replied + "Bad Request" << false << int(ServiceError) << 400
            << "server replied: Bad Request (HTTP 400, plug-in error 403)";
    QTest::newRow("service unavailable has the same code")
            << int(QNetworkReply::ServiceUnavailableError) << replied + "Service Unavailable"
            << false << int(ServiceError) << 503
            << "server replied: Service Unavailable (HTTP 503, plug-in error 403)";
    QTest::newRow("server error")
            << int(QNetworkReply::InternalServerError) << replied + "Internal Server Error" << false
            << int(ServiceError) << 500
            << "server replied: Internal Server Error (HTTP 500, plug-in error 401)";
    QTest::newRow("entry gone") << int(QNetworkReply::ContentNotFoundError) << replied + "Not Found"
                                << false << int(NotFound) << 404
                                << "server replied: Not Found (HTTP 404, plug-in error 203)";
    // HTTP/2 has no reason phrases: the code tells the status where it is the reply's own.
    QTest::newRow("server error over HTTP/2")
            << int(QNetworkReply::InternalServerError) << replied << false << int(ServiceError)
            << 500 << "server replied: Internal Server Error (HTTP 500, plug-in error 401)";
    QTest::newRow("credentials refused over HTTP/2")
            << int(QNetworkReply::AuthenticationRequiredError) << replied << false
            << int(NotAuthorised) << 401
            << "server replied: Unauthorized (HTTP 401, plug-in error 204)";
    QTest::newRow("lookup refused over HTTP/2")
            << 403 << replied << false << int(ServiceError) << 0
            << "server replied with an error (plug-in error 403)";
    QTest::newRow("a phrase of the server's own")
            << int(QNetworkReply::UnknownServerError) << replied + "Out Of Coffee" << false
            << int(ServiceError) << 0 << "server replied: Out Of Coffee (plug-in error 499)";
    QTest::newRow("no answer") << int(QNetworkReply::ConnectionRefusedError) << "Connection refused"
                               << false << int(ServiceError) << 0
                               << "Connection refused (plug-in error 1)";
    QTest::newRow("corrupted download")
            << 299 << "Les données reçues sont corrompues" << false << int(CorruptedData) << 0
            << "Les données reçues sont corrompues (plug-in error 299)";
    QTest::newRow("refused without a request")
            << 0 << "Le répertoire existe déjà" << false << int(Failure) << 0
            << "Le répertoire existe déjà (plug-in error 0)";
    QTest::newRow("placeholders in the text stay")
            << int(QNetworkReply::InternalServerError) << "%1 %2 %3" << false << int(ServiceError)
            << 0 << "%1 %2 %3 (plug-in error 401)";
}

void TestCloudFileError::mapping()
{
    QFETCH(int, code);
    QFETCH(QString, text);
    QFETCH(bool, notFound);
    QFETCH(int, exitCode);
    QFETCH(int, httpStatus);
    QFETCH(QString, described);

    MemoryCloudFile file(QSharedPointer<MemoryStore>::create(), QUrl(QStringLiteral("mem:/a")));
    file.setError(code, text);
    const CloudFileError error(file);
    QCOMPARE(error.isNotFound(), notFound);
    QCOMPARE(int(error.exitCode()), exitCode);
    QCOMPARE(error.httpStatus(), httpStatus);
    QCOMPARE(error.describe(), described);
}

QTEST_GUILESS_MAIN(TestCloudFileError)
#include "tst_cloudfileerror.moc"
