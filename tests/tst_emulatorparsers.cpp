// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "driveentry.h"
#include "drivequery.h"
#include "emulatorserver.h"
#include "fieldselection.h"
#include "multipartbody.h"

#include <QtTest>

namespace {
enum Outcome { Refused, Unmatched, Matched };
} // namespace

// The emulator's parsers of what clients send (the query language, partial-response selections,
// multipart bodies), and the documentation of its routes.
class TestEmulatorParsers : public QObject
{
    Q_OBJECT

private slots:
    void query_data();
    void query();
    void fieldSelectionRejects_data();
    void fieldSelectionRejects();
    void multipart_data();
    void multipart();
    void routesAreDocumented();
};

void TestEmulatorParsers::query_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<Outcome>("outcome");

    // Against a file "Report 2021.txt" in folder P, not trashed.
    QTest::newRow("name equals ignores case") << "name='report 2021.TXT'" << Matched;
    QTest::newRow("contains a word's start") << "name contains 'rep'" << Matched;
    QTest::newRow("contains mid-word") << "name contains 'port'" << Unmatched;
    QTest::newRow("not") << "not trashed=true" << Matched;
    QTest::newRow("parentheses") << "(name='x' or name='y') and trashed=false" << Unmatched;
    QTest::newRow("escaped apostrophe") << "name='Report 2021.txt' or name='it\\'s'" << Matched;
    QTest::newRow("double quotes")
            << "name = \"Report 2021.txt\" and mimeType=\"text/plain\"" << Matched;
    QTest::newRow("deep but within bounds")
            << QString(300, QLatin1Char('(')) + "trashed=false" + QString(300, QLatin1Char(')'))
            << Matched;

    QTest::newRow("dangling and") << "trashed=false and" << Refused;
    QTest::newRow("unbalanced parenthesis") << "(trashed=false" << Refused;
    QTest::newRow("in other collection") << "'me' in owners" << Refused;
    // Found by fuzzing: nesting this deep used to exhaust the stack.
    QTest::newRow("nested too deep") << QString(100000, QLatin1Char('(')) + "trashed=false"
                    + QString(100000, QLatin1Char(')'))
                                     << Refused;
    QTest::newRow("negated too often")
            << QStringLiteral("not ").repeated(100000) + "trashed=false" << Refused;
    QTest::newRow("too many terms")
            << QStringList(2000, QStringLiteral("trashed=false")).join(QLatin1String(" and "))
            << Refused;
}

void TestEmulatorParsers::query()
{
    QFETCH(QString, query);
    DriveEntry file;
    file.name = QStringLiteral("Report 2021.txt");
    file.mimeType = QStringLiteral("text/plain");
    file.parents = QStringList(QStringLiteral("P"));
    const DriveQuery parsed = DriveQuery::parse(query);
    QTEST(!parsed.isValid() ? Refused : parsed.matches(file) ? Matched : Unmatched, "outcome");
}

void TestEmulatorParsers::fieldSelectionRejects_data()
{
    QTest::addColumn<QString>("fields");
    QTest::newRow("unclosed") << "files(id";
    QTest::newRow("stray close") << "id)";
    QTest::newRow("nested too deep")
            << QStringLiteral("a(").repeated(100000) + "id" + QString(100000, QLatin1Char(')'));
    QTest::newRow("path too deep") << QStringLiteral("a/").repeated(100000) + "id";
}

void TestEmulatorParsers::fieldSelectionRejects()
{
    QFETCH(QString, fields);
    QVERIFY(!FieldSelection::parse(fields));
}

void TestEmulatorParsers::multipart_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("boundary");
    QTest::addColumn<QByteArray>("metadata"); // null when the body is refused
    QTest::addColumn<QByteArray>("media");
    QTest::addColumn<QByteArray>("mediaType");

    const QByteArray none;
    QTest::newRow("CRLF") << QByteArray(
            "--xyz\r\nContent-Type: application/json\r\n\r\n{\"name\":\"b\"}\r\n--xyz\r\n"
            "Content-Type: text/plain\r\n\r\nline1\r\nline2\r\n--xyz--\r\n")
                          << QByteArray("xyz") << QByteArray("{\"name\":\"b\"}")
                          << QByteArray("line1\r\nline2") << QByteArray("text/plain");
    QTest::newRow("content holding the boundary text")
            << QByteArray("--b\n\n{}\n--b\n\nbefore\n--b--\nafter\n--b--\n") << QByteArray("b")
            << QByteArray("{}") << QByteArray("before\n--b--\nafter") << none;
    QTest::newRow("preamble and no final line end")
            << QByteArray("preamble\n--b\n\n{}\n--b\n\ndata\n--b--") << QByteArray("b")
            << QByteArray("{}") << QByteArray("data") << none;
    QTest::newRow("LF media ending in CR kept")
            << QByteArray("--b\n\n{}\n--b\n\ndata\r\n--b--\n") << QByteArray("b")
            << QByteArray("{}") << QByteArray("data\r") << none;
    QTest::newRow("no closing boundary")
            << QByteArray("--b\n\n{}\n--b\n\nx\n") << QByteArray("b") << none << none << none;
    QTest::newRow("empty") << none << QByteArray("b") << none << none << none;
}

void TestEmulatorParsers::multipart()
{
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, boundary);
    QFETCH(QByteArray, metadata);

    MultipartBody parsed;
    QCOMPARE(parsed.parse(body, boundary), !metadata.isNull());
    QCOMPARE(parsed.errorString().isEmpty(), !metadata.isNull());
    if (metadata.isNull())
        return;
    QCOMPARE(parsed.metadata().body, metadata);
    QTEST(parsed.media().body, "media");
    QTEST(parsed.media().header("content-type"), "mediaType");
}

// docs/emulator.md tells what the emulator serves: every route of its table, and no other.
void TestEmulatorParsers::routesAreDocumented()
{
    QFile page(QStringLiteral(GDAPP_SOURCE_DIR "/docs/emulator.md"));
    QVERIFY(page.open(QIODevice::ReadOnly));
    const QRegularExpression row(QStringLiteral("^\\| `([A-Z]+ /[^`?]*)"),
                                 QRegularExpression::MultilineOption);
    QStringList documented;
    for (auto it = row.globalMatch(QString::fromUtf8(page.readAll())); it.hasNext();)
        documented.append(it.next().captured(1));
    QStringList served;
    for (const EmulatorServer::Route &route : EmulatorServer::routes())
        served.append(QString::fromLatin1(route.method + ' ' + route.pattern));
    documented.sort();
    served.sort();
    QCOMPARE(documented, served);
}

QTEST_GUILESS_MAIN(TestEmulatorParsers)
#include "tst_emulatorparsers.moc"
