// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QXmlStreamReader>
#include <QtTest>

namespace {
// Each message of a catalogue: its context, its source, the type of its translation
// ("unfinished" for a text still to translate), then its translation or each of its plural forms.
QList<QStringList> readCatalogue(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<QStringList> messages;
    QString context;
    bool numerus = false;
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QStringView name = xml.name();
        if (name == QLatin1String("name")) {
            context = xml.readElementText();
        } else if (name == QLatin1String("message")) {
            numerus = xml.attributes().value(QLatin1String("numerus")) == QLatin1String("yes");
            messages.append({ context });
        } else if (name == QLatin1String("source") || name == QLatin1String("numerusform")) {
            messages.last().append(xml.readElementText());
        } else if (name == QLatin1String("translation")) {
            messages.last().append(xml.attributes().value(QLatin1String("type")).toString());
            if (!numerus)
                messages.last().append(xml.readElementText());
        }
    }
    return messages;
}

// What is wrong with a message of a catalogue, or nothing.
QString fault(const QStringList &message)
{
    const QStringList translations = message.mid(3);
    if (message.value(2) == QLatin1String("unfinished") || translations.isEmpty()
        || translations.contains(QString()))
        return QStringLiteral("untranslated");
    static const QRegularExpression argument(QStringLiteral("%(\\d+|n)"));
    for (const QString &translation : translations) {
        for (const QRegularExpressionMatch &match : argument.globalMatch(message.at(1))) {
            if (!translation.contains(match.captured()))
                return QStringLiteral("%1 lost in \"%2\"").arg(match.captured(), translation);
        }
    }
    return QString();
}
} // namespace

// The catalogues cover every text of the plug-in. Each is brought up to date in a scratch copy,
// as the update_translations target does to the real ones; a text added to the sources since
// shows there, untranslated, and a catalogue left behind the sources differs from its copy.
class TestTranslations : public QObject
{
    Q_OBJECT

private slots:
    void catalogueIsCompleteAndCurrent_data();
    void catalogueIsCompleteAndCurrent();
};

void TestTranslations::catalogueIsCompleteAndCurrent_data()
{
    QTest::addColumn<QString>("catalogue");
    QTest::addColumn<bool>("pluralsOnly");

    QTest::newRow("English") << "gdapp_en.ts" << false;
    QTest::newRow("German") << "gdapp_de.ts" << false;
    // French is the sources' language: its catalogue holds their plural forms only.
    QTest::newRow("French") << "gdapp_fr.ts" << true;
}

void TestTranslations::catalogueIsCompleteAndCurrent()
{
    QFETCH(QString, catalogue);
    QFETCH(bool, pluralsOnly);

    const QString committed = QStringLiteral(GDAPP_TS_DIR "/") + catalogue;
    QTemporaryDir scratch;
    const QString updated = scratch.filePath(catalogue);
    QVERIFY(QFile::copy(committed, updated));
    QStringList arguments {
        QStringLiteral("-locations"),   QStringLiteral("none"),
        QStringLiteral("-no-obsolete"), QStringLiteral("@" GDAPP_TRANSLATED_SOURCES),
        QStringLiteral("-ts"),          updated
    };
    if (pluralsOnly)
        arguments.prepend(QStringLiteral("-pluralonly"));
    QProcess lupdate;
    lupdate.start(QStringLiteral(GDAPP_LUPDATE), arguments);
    QVERIFY2(lupdate.waitForFinished(60000) && lupdate.exitCode() == 0,
             lupdate.readAllStandardError().constData());

    const QList<QStringList> messages = readCatalogue(updated);
    QStringList faults;
    for (const QStringList &message : messages) {
        const QString found = fault(message);
        if (!found.isEmpty())
            faults.append(QStringLiteral("%1 \"%2\": %3").arg(message.at(0), message.at(1), found));
    }
    QVERIFY2(faults.isEmpty(), qPrintable(faults.join(QLatin1Char('\n'))));
    QVERIFY2(messages == readCatalogue(committed),
             "the catalogue is behind the sources: build the update_translations target");
    if (!pluralsOnly)
        QVERIFY(!messages.isEmpty());
}

QTEST_GUILESS_MAIN(TestTranslations)
#include "tst_translations.moc"
