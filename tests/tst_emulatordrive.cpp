// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "exchangetest.h"

#include <QtTest>

namespace {
// A multipart body, its boundary quoted as client libraries write it.
QString multipart(const char *metadata, const char *media)
{
    return QStringLiteral("\nContent-Type: multipart/related; boundary=\"b\"\n\n--b\n"
                          "Content-Type: application/json\n\n%1\n--b\nContent-Type: text/csv\n\n"
                          "%2\n--b--\n")
            .arg(QLatin1String(metadata), QLatin1String(media));
}
} // namespace

// The emulator's Drive and control endpoints over HTTP: every route and parameter, what the
// service answers to it, and that a refusal changes nothing.
class TestEmulatorDrive : public ExchangeTest
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(emulator.start()); }
    void init();
    void exchanges_data();
    void exchanges();
};

// In the application-data folder: a.txt ("abc"), docs/, docs/b.txt ("b").
void TestEmulatorDrive::init()
{
    emulator.control("POST", QStringLiteral("reset"));
    emulator.setSettings(json(R"({"tokenTtl": 3599, "logBodies": 1000})"));
    defaults = { { "Authorization", "Bearer " + emulator.issueAccessToken().toUtf8() } };
    values = { { QStringLiteral("a"), idOf(emulator.seedFile("/a.txt", "abc")) },
               { QStringLiteral("docs"), idOf(emulator.seedFolder("/docs")) },
               { QStringLiteral("b"), idOf(emulator.seedFile("/docs/b.txt", "b")) } };
}

void TestEmulatorDrive::exchanges_data()
{
    addColumns();

    const char *const appData = "GET /drive/v3/files?spaces=appDataFolder";
    const QString fileList = QStringLiteral("GET /drive/v3/files?spaces=appDataFolder&pageSize=2");
    row("list: the user's space by default", "GET /drive/v3/files", 200,
        "kind=drive#fileList; incompleteSearch=false; files.*.name=");
    row("list: default keys", appData, 200,
        "files.*.name=a.txt,docs,b.txt; files.0:keys=id,kind,mimeType,name; nextPageToken=");
    row("list: two spaces", "GET /drive/v3/files?spaces=drive,appDataFolder", 200,
        "files.*.name=a.txt,docs,b.txt,mine", { R"(POST /drive/v3/files {"name": "mine"})" });
    row("list: unknown space", "GET /drive/v3/files?spaces=photos", 400,
        "error.errors.0.reason=invalid; error.errors.0.location=spaces");
    row("list: q as the plug-in writes it",
        "GET /drive/v3/files?spaces=appDataFolder&q='{docs}'+in+parents+and+name='b.txt'+and+"
        "trashed=false",
        200, "files.*.name=b.txt");
    row("list: q refused", "GET /drive/v3/files?q=title='a'", 400,
        "error.message=Invalid Value; error.errors.0.location=q");
    row("list: a page", fileList, 200, "files.*.name=a.txt,docs; nextPageToken={nextPageToken}");
    row("list: the next page", "GET /drive/v3/files?spaces=appDataFolder&pageToken={nextPageToken}",
        200, "files.*.name=b.txt; nextPageToken=", { fileList });
    row("list: a token of another listing", "GET /drive/v3/files?pageToken={nextPageToken}", 400,
        "error.errors.0.location=pageToken", { fileList });
    row("list: page size 0", "GET /drive/v3/files?pageSize=0", 400,
        "error.errors.0.location=pageSize");
    row("list: page size above 1000", "GET /drive/v3/files?pageSize=1001", 400,
        "error.errors.0.location=pageSize");
    row("list: by name, descending", "GET /drive/v3/files?spaces=appDataFolder&orderBy=name+desc",
        200, "files.*.name=docs,b.txt,a.txt");
    row("list: folders first", "GET /drive/v3/files?spaces=appDataFolder&orderBy=folder,name", 200,
        "files.*.name=docs,a.txt,b.txt");
    row("list: by time", "GET /drive/v3/files?spaces=appDataFolder&orderBy=modifiedTime+desc", 200,
        "files.2.name=a.txt",
        { R"(PATCH /drive/v3/files/{a} {"modifiedTime": "2001-01-01T00:00:00.000Z"})" });
    row("list: unknown order", "GET /drive/v3/files?orderBy=size", 400,
        "error.errors.0.location=orderBy");
    row("list: fields",
        "GET /drive/v3/files?spaces=appDataFolder&pageSize=1&fields=files(name,size),nextPageToken",
        200, ":keys=files,nextPageToken; files.0:keys=name,size; files.0.size=3");
    row("list: unknown field", "GET /drive/v3/files?fields=files(nosuch)", 400,
        "error.errors.0.reason=invalidParameter; error.message=Invalid field selection nosuch");
    row("list: a short page", appData, 200, "files.*.name=a.txt; nextPageToken={nextPageToken}",
        { R"(POST /_emulator/faults {"action": "shortPage"})" });
    row("list: unknown alt", "GET /drive/v3/files?alt=xml", 400, "error.errors.0.location=alt");

    row("get: default keys", "GET /drive/v3/files/{a}", 200, ":keys=id,kind,mimeType,name; id={a}");
    row("get: fields", "GET /drive/v3/files/{a}?fields=size,md5Checksum,parents,spaces", 200,
        ":keys=md5Checksum,parents,size,spaces; size=3; parents.0=appDataFolder; "
        "md5Checksum=900150983cd24fb0d6963f7d28e17f72; spaces.0=appDataFolder");
    row("get: every field", "GET /drive/v3/files/{a}?fields=*", 200,
        ":keys=createdTime,explicitlyTrashed,id,kind,md5Checksum,mimeType,modifiedTime,name,"
        "parents,quotaBytesUsed,size,spaces,trashed,version");
    row("get: the folder's alias", "GET /drive/v3/files/appDataFolder?fields=id", 200,
        "id=appDataFolder");
    row("get: unknown", "GET /drive/v3/files/nope", 404,
        "error.message=File not found: nope.; error.errors.0.location=fileId");
    row("get: unknown field", "GET /drive/v3/files/{a}?fields=id,nosuch", 400,
        "error.errors.0.location=fields");
    row("get: content", "GET /drive/v3/files/{a}?alt=media", 200,
        "#=abc; @Content-Type=application/octet-stream");
    row("get: from an offset", "GET /drive/v3/files/{a}?alt=media\nRange: bytes=1-", 206,
        "#=bc; @Content-Range=bytes 1-2/3");
    row("get: the end", "GET /drive/v3/files/{a}?alt=media\nRange: bytes=-1", 206, "#=c");
    row("get: a range beyond", "GET /drive/v3/files/{a}?alt=media\nRange: bytes=5-", 416,
        "@Content-Range=bytes */3");
    row("get: content of a folder", "GET /drive/v3/files/{docs}?alt=media", 403,
        "error.errors.0.reason=fileNotDownloadable; error.errors.0.location=alt");

    row("create: a folder",
        R"(POST /drive/v3/files?fields=mimeType,parents {"name": "d", "parents": ["{docs}"], "mimeType": "application/vnd.google-apps.folder"})",
        200, "parents.0={docs}; mimeType=application/vnd.google-apps.folder");
    row("create: without parents", R"(POST /drive/v3/files?fields=parents,spaces {"name": "x"})",
        200, "parents.0=root; spaces.0=drive");
    row("create: without a name",
        R"(POST /drive/v3/files?fields=name,size {"parents": ["appDataFolder"]})", 200,
        "name=Untitled; size=0");
    row("create: two parents",
        R"(POST /drive/v3/files {"name": "x", "parents": ["appDataFolder", "{docs}"]})", 403,
        "error.errors.0.reason=cannotAddParent");
    row("create: unknown parent", R"(POST /drive/v3/files {"parents": ["nope"]})", 404,
        "error.message=File not found: nope.");
    row("create: in a file", R"(POST /drive/v3/files {"parents": ["{a}"]})", 400,
        "error.errors.0.reason=badRequest");
    row("create: a document in the folder",
        R"(POST /drive/v3/files {"parents": ["{docs}"], "mimeType": "application/vnd.google-apps.document"})",
        403, "error.message=Method not supported for files within the Application Data folder.");
    row("create: not JSON", "POST /drive/v3/files {name", 400, "error.errors.0.reason=parseError");

    row("update: name", R"(PATCH /drive/v3/files/{a} {"name": "z.txt"})", 200, "name=z.txt");
    row("update: type", R"(PATCH /drive/v3/files/{a}?fields=mimeType {"mimeType": "text/csv"})",
        200, "mimeType=text/csv");
    row("update: move",
        "PATCH /drive/v3/files/{a}?addParents={docs}&removeParents=appDataFolder&fields=parents {}",
        200, "parents.0={docs}");
    row("update: a second parent", "PATCH /drive/v3/files/{a}?addParents={docs} {}", 403,
        "error.errors.0.reason=cannotAddParent");
    row("update: into itself",
        "PATCH /drive/v3/files/{docs}?addParents={docs}&removeParents=appDataFolder {}", 400,
        "error.errors.0.reason=badRequest");
    row("update: to another space",
        "PATCH /drive/v3/files/{a}?addParents=root&removeParents=appDataFolder {}", 403,
        "error.errors.0.reason=notSupportedForAppDataFolderFiles");
    row("update: into a file", "PATCH /drive/v3/files/{b}?addParents={a}&removeParents={docs} {}",
        400, "error.errors.0.reason=badRequest");
    row("update: to nowhere", "PATCH /drive/v3/files/{a}?addParents=nope {}", 404,
        "error.message=File not found: nope.");
    row("update: parents in the body", R"(PATCH /drive/v3/files/{a} {"parents": ["{docs}"]})", 403,
        "error.message=The parents field is not directly writable in update requests. Use the "
        "addParents and removeParents parameters instead.");
    row("update: a field of the service's", R"(PATCH /drive/v3/files/{a} {"size": "3"})", 403,
        "error.errors.0.reason=fieldNotWritable");
    row("update: trash in the folder", R"(PATCH /drive/v3/files/{a} {"trashed": true})", 403,
        "error.errors.0.reason=notSupportedForAppDataFolderFiles; "
        "error.message=Files within the Application Data folder cannot be trashed.");
    row("update: trash elsewhere",
        R"(PATCH /drive/v3/files/{id}?fields=trashed,explicitlyTrashed {"trashed": true})", 200,
        "trashed=true; explicitlyTrashed=true", { R"(POST /drive/v3/files {"name": "mine"})" });
    row("update: time",
        R"(PATCH /drive/v3/files/{a}?fields=modifiedTime {"modifiedTime": "2001-02-03T04:05:06.789Z"})",
        200, "modifiedTime=2001-02-03T04:05:06.789Z");
    row("update: no time", R"(PATCH /drive/v3/files/{a} {"modifiedTime": "today"})", 400,
        "error.errors.0.location=modifiedTime");
    row("update: a file into a folder",
        R"(PATCH /drive/v3/files/{a} {"mimeType": "application/vnd.google-apps.folder"})", 400,
        "error.errors.0.reason=badRequest");
    row("update: unknown", "PATCH /drive/v3/files/nope {}", 404, "error.errors.0.reason=notFound");
    row("update: the folder itself", "PATCH /drive/v3/files/appDataFolder {}", 403,
        "error.errors.0.reason=insufficientFilePermissions");

    row("delete", "DELETE /drive/v3/files/{a}", 204, "#=");
    row("delete: what a folder holds goes too", "GET /drive/v3/files/{b}", 404, "",
        { "DELETE /drive/v3/files/{docs}" });
    row("delete: unknown", "DELETE /drive/v3/files/nope", 404, "error.errors.0.reason=notFound");
    row("delete: no identifier", "DELETE /drive/v3/files/", 404, "error.message=File not found: .");
    row("delete: the folder itself", "DELETE /drive/v3/files/appDataFolder", 403,
        "error.errors.0.reason=insufficientFilePermissions");

    row("copy: beside the source", "POST /drive/v3/files/{b}/copy?fields=name,parents", 200,
        "name=Copy of b.txt; parents.0={docs}");
    row("copy: named, elsewhere",
        R"(POST /drive/v3/files/{b}/copy?fields=name,parents,md5Checksum {"name": "c", "parents": ["appDataFolder"]})",
        200, "name=c; parents.0=appDataFolder; md5Checksum=92eb5ffee6ae2fec3ad71c777531578f");
    row("copy: a folder", "POST /drive/v3/files/{docs}/copy", 403,
        "error.message=This file cannot be copied by the user.");
    row("copy: unknown", "POST /drive/v3/files/nope/copy", 404, "error.errors.0.reason=notFound");

    const QString media = QStringLiteral("?uploadType=media&fields=name,mimeType,size,md5Checksum,"
                                         "parents,version\nContent-Type: text/plain\n\nhello");
    const QString replace = QStringLiteral("PATCH /upload/drive/v3/files/{a}");
    row("upload: media", ("POST /upload/drive/v3/files" + media), 200,
        "name=Untitled; mimeType=text/plain; size=5; md5Checksum=5d41402abc4b2a76b9719d911017c592; "
        "parents.0=root");
    row("upload: multipart",
        ("POST /upload/drive/v3/files?uploadType=multipart&fields=name,mimeType,parents,size"
         + multipart(R"({"name": "m", "parents": ["{docs}"]})", "x,y")),
        200, "name=m; mimeType=text/csv; parents.0={docs}; size=3");
    row("upload: no upload type", "POST /upload/drive/v3/files x", 400,
        "error.errors.0.location=uploadType");
    row("upload: multipart of another kind",
        "POST /upload/drive/v3/files?uploadType=multipart\nContent-Type: multipart/mixed; "
        "boundary=b\n\n--b\n\n{}\n--b\n\nx\n--b--\n",
        400, "error.message=Unsupported content with type: multipart/mixed");
    row("upload: multipart without a boundary",
        "POST /upload/drive/v3/files?uploadType=multipart\nContent-Type: multipart/related\n\nx",
        400, "error.errors.0.reason=badRequest");
    row("upload: metadata not JSON",
        ("POST /upload/drive/v3/files?uploadType=multipart" + multipart("{name", "x")), 400,
        "error.errors.0.reason=parseError");
    row("replace: media", (replace + media), 200,
        "name=a.txt; mimeType=application/octet-stream; size=5; version=2");
    row("replace: multipart",
        replace + "?uploadType=multipart&fields=name,mimeType"
                + multipart(R"({"name": "n", "mimeType": "t/x"})", "x"),
        200, "name=n; mimeType=t/x");
    row("replace: multipart of another kind",
        (replace + "?uploadType=multipart\nContent-Type: text/plain\n\nx"), 400,
        "error.errors.0.reason=badContent");
    row("replace: a folder", "PATCH /upload/drive/v3/files/{docs}?uploadType=media x", 400,
        "error.message=This type of file cannot hold content.");
    row("replace: unknown", "PATCH /upload/drive/v3/files/nope?uploadType=media x", 404,
        "error.errors.0.reason=notFound");

    const char *const help = "See https://developers.google.com/identity/sign-in/web/"
                             "devconsole-project.";
    row("no token", "GET /drive/v3/files\nAuthorization:", 401,
        QString("error.errors.0.reason=required; error.status=UNAUTHENTICATED; "
                "error.details.0.reason=CREDENTIALS_MISSING; error.message=Request is missing "
                "required authentication credential. Expected OAuth 2 access token, login "
                "cookie or other valid authentication credential. ")
                + help);
    row("unknown token", "GET /drive/v3/files\nAuthorization: Bearer ya29.nope", 401,
        QString("error.errors.0.reason=authError; error.details=; error.message=Request had "
                "invalid authentication credentials. Expected OAuth 2 access token, login "
                "cookie or other valid authentication credential. ")
                + help);
    row("expired token", "GET /drive/v3/files", 401, "error.errors.0.reason=authError",
        { "POST /_emulator/tokens/expire" });
    row("no such route", "PUT /drive/v3/files", 404, "error.message=Not Found");

    const QString fault = QStringLiteral("POST /_emulator/faults {\"status\": 500%1}");
    row("fault: the usual 500", appData, 500, "error.errors.0.reason=backendError",
        { fault.arg(QString()) });
    row("fault: an internal error", appData, 500,
        "error.errors.0.reason=internalError; error.message=Internal Error",
        { fault.arg(R"(, "reason": "internalError")") });

    row("fault: counted down", appData, 200, "",
        { fault.arg(R"(, "count": 2)"), appData, appData });
    row("fault: chunked", appData, 200, "@Transfer-Encoding=chunked; @Content-Length=",
        { R"(POST /_emulator/faults {"action": "chunked"})" });

    row("control: health", "GET /_emulator/health", 200, "status=ok");
    row("control: files", "GET /_emulator/files", 200, "files.*.path=/a.txt,/docs,/docs/b.txt");
    row("control: seed",
        R"(POST /_emulator/files {"path": "/n/c", "text": "t", "trashed": true, "size": 9, "md5Checksum": "0"})",
        200, "files.0.path=/n/c; files.0.trashed=true; files.0.size=9; files.0.md5Checksum=0");
    row("control: seed refused", R"(POST /_emulator/files {"path": ""})", 400);
    row("control: no files", "GET /_emulator/files", 200, "files=", { "DELETE /_emulator/files" });
    row("control: content", "GET /_emulator/files/{b}/content", 200, "#=b");
    row("control: no content", "GET /_emulator/files/nope/content", 404);
    row("control: a token", "POST /_emulator/tokens", 200,
        "expires_in=3599; refresh_token={refresh_token}");
    row("control: settings", R"(POST /_emulator/settings {"tokenTtl": 7, "logBodies": 0})", 200,
        "tokenTtl=7; logBodies=0; autoApprove=false");
    row("control: requests", "GET /_emulator/requests?since={next}", 200,
        "requests.*.target=/drive/v3/files/{a}?fields=id; requests.0.status=200",
        { "GET /_emulator/requests?since=0", "GET /drive/v3/files/{a}?fields=id" });
    row("control: no requests", "GET /_emulator/requests", 200,
        "requests=", { "GET /drive/v3/files", "DELETE /_emulator/requests" });
    row("control: a request's body", "GET /_emulator/requests/{next}/body", 200, "#={}",
        { "GET /_emulator/requests?since=0", "PATCH /drive/v3/files/{a} {}" });
    row("control: faults", "GET /_emulator/faults", 200, "faults.*.status=503; faults.*.count=-1",
        { R"(POST /_emulator/faults {"status": 503, "count": -1})" });
    row("control: a fault refused", R"(POST /_emulator/faults {"status": 500, "reason": "no"})",
        400);
    row("control: an unknown action", R"(POST /_emulator/faults {"action": "explode"})", 400);
    row("control: a throttle without pace", R"(POST /_emulator/faults {"action": "throttle"})",
        400);
    row("control: a pace without throttle", R"(POST /_emulator/faults {"bytesPerSecond": 9})", 400);
    row("control: no faults", appData, 200, "",
        { fault.arg(QString()), "DELETE /_emulator/faults" });
    row("control: reset", "GET /_emulator/files", 200, "files=", { "POST /_emulator/reset" });
}

// Refused requests change nothing.
void TestEmulatorDrive::exchanges()
{
    QFETCH(QStringList, steps);
    QFETCH(int, status);
    const QJsonArray before = emulator.files();
    QCOMPARE(run(), QString());
    if (status >= 400 && steps.isEmpty())
        QCOMPARE(emulator.files(), before);
}

QTEST_GUILESS_MAIN(TestEmulatorDrive)
#include "tst_emulatordrive.moc"
