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
    QTest::addColumn<QString>("described");

    // A lookup that worked and found nothing leaves the text of a reply without error.
    const QString noError = QIODevice::tr("Unknown error");
    QTest::newRow("path not found")
            << 403 << noError << true << int(NotFound) << "no such file or folder [error 403]";
    QTest::newRow("lookup failed on the way")
            << 403 << "Error transferring http://h/drive/v3/files?q=name%3D'a' - server replied: x"
            << false << int(ServiceError)
            << "Error transferring http://h/drive/v3/files?q=name%3D'a' - server replied: x [error "
               "403]";
    QTest::newRow("service unavailable has the same code")
            << int(QNetworkReply::ServiceUnavailableError) << "Service Unavailable" << false
            << int(ServiceError) << "Service Unavailable [error 403]";
    QTest::newRow("entry gone") << int(QNetworkReply::ContentNotFoundError) << "Not Found" << false
                                << int(NotFound) << "Not Found [error 203]";
    QTest::newRow("credentials refused")
            << int(QNetworkReply::AuthenticationRequiredError) << "Unauthorized" << false
            << int(NotAuthorised) << "Unauthorized [error 204]";
    QTest::newRow("corrupted download")
            << 299 << "Les données reçues sont corrompues" << false << int(CorruptedData)
            << "Les données reçues sont corrompues [error 299]";
    QTest::newRow("refused without a request")
            << 0 << "Le répertoire existe déjà" << false << int(Failure)
            << "Le répertoire existe déjà [error 0]";
    QTest::newRow("placeholders in the text stay")
            << int(QNetworkReply::InternalServerError) << "%1 %2 %3" << false << int(ServiceError)
            << "%1 %2 %3 [error 401]";
}

void TestCloudFileError::mapping()
{
    QFETCH(int, code);
    QFETCH(QString, text);
    QFETCH(bool, notFound);
    QFETCH(int, exitCode);
    QFETCH(QString, described);

    MemoryCloudFile file(QSharedPointer<MemoryStore>::create(), QUrl(QStringLiteral("mem:/a")));
    file.setError(code, text);
    const CloudFileError error(file);
    QCOMPARE(error.isNotFound(), notFound);
    QCOMPARE(int(error.exitCode()), exitCode);
    QCOMPARE(error.describe(), described);
}

QTEST_GUILESS_MAIN(TestCloudFileError)
#include "tst_cloudfileerror.moc"
