// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "simplecrypt.h"

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QtTest>

Q_DECLARE_METATYPE(SimpleCrypt::CompressionPolicy)
Q_DECLARE_METATYPE(SimpleCrypt::IntegrityPolicy)
Q_DECLARE_METATYPE(SimpleCrypt::CipherStatus)

namespace {
// A forged compressed body makes the decompression allocate the size its header claims, which
// costs nothing here but a lot under AddressSanitizer, which poisons every byte of it.
#if defined(__SANITIZE_ADDRESS__)
constexpr int GarbageRounds = 400;
#else
constexpr int GarbageRounds = 20000;
#endif
constexpr quint64 Key = 0x0123456789ABCDEFULL;
const char *const NoKeyWarning = "No key set.";
const char *const VersionWarning = "Invalid version or not a cyphertext.";

// The cipher-text format written out independently of the class: version, flags, then the
// random byte, integrity field and payload chained with the key bytes and the previous byte.
QByteArray referenceCipher(quint64 key, char flags, char random, const QByteArray &field,
                           const QByteArray &payload)
{
    QByteArray body = random + field + payload;
    char previous = 0;
    for (int i = 0; i < body.size(); ++i) {
        const char keyByte = char(key >> (8 * (i % 8)));
        body[i] = char(body[i] ^ keyByte ^ previous);
        previous = body[i];
    }
    return QByteArray(1, 0x03) + flags + body;
}

// Undoes the chain of a cipher text: the random byte, field and payload in clear.
QByteArray referenceBody(quint64 key, const QByteArray &cipher)
{
    QByteArray body = cipher.mid(2);
    char previous = 0;
    for (int i = 0; i < body.size(); ++i) {
        const char c = body[i];
        body[i] = char(c ^ previous ^ char(key >> (8 * (i % 8))));
        previous = c;
    }
    return body;
}

QByteArray crcField(const QByteArray &payload)
{
    const quint16 crc = qChecksum(QByteArrayView(payload), Qt::ChecksumIso3309);
    QByteArray field;
    field.append(char(crc >> 8));
    field.append(char(crc & 0xFF));
    return field;
}

QByteArray swapped(const QByteArray &pair)
{
    return pair.right(1) + pair.left(1);
}

QByteArray sha1(const QByteArray &payload)
{
    return QCryptographicHash::hash(payload, QCryptographicHash::Sha1);
}

QByteArray repetitive()
{
    return QByteArray("abc").repeated(200);
}

// Swallows the warnings of a loop over garbage input.
class QuietMessages
{
public:
    QuietMessages() : m_previous(qInstallMessageHandler(quiet)) { }
    ~QuietMessages() { qInstallMessageHandler(m_previous); }

private:
    static void quiet(QtMsgType, const QMessageLogContext &, const QString &) { }
    QtMessageHandler m_previous;
};
} // namespace

class TestSimpleCrypt : public QObject
{
    Q_OBJECT

private slots:
    void crcIsIso3309();
    void roundTrip_data();
    void roundTrip();
    void encryptionFollowsTheFormat_data();
    void encryptionFollowsTheFormat();
    void decryptsFixedCipherTexts_data();
    void decryptsFixedCipherTexts();
    void decryptsReferenceCipherTexts_data();
    void decryptsReferenceCipherTexts();
    void emptyPlaintext();
    void flagsByte_data();
    void flagsByte();
    void compressionThatDoesNotShortenIsDropped();
    void twoEncryptionsDiffer();
    void keyZeroIsAKey();
    void setKeyReplacesTheKey();
    void noKey();
    void emptyCipherText();
    void badVersion_data();
    void badVersion();
    void versionByteAlone();
    void everyBodyByteFlipIsDetected_data();
    void everyBodyByteFlipIsDetected();
    void wrongKey();
    void integrityFieldTooShort_data();
    void integrityFieldTooShort();
    void corruptCompressedPayload();
    void lenientBase64();
    void textAndByteFormsAreNotInverse();
    void garbageNeverCrashes();
};

void TestSimpleCrypt::crcIsIso3309()
{
    // The X.25 check value: a different CRC-16 variant would change every stored token.
    QCOMPARE(qChecksum(QByteArrayView("123456789"), Qt::ChecksumIso3309), quint16(0x906E));
}

void TestSimpleCrypt::roundTrip_data()
{
    QTest::addColumn<SimpleCrypt::CompressionPolicy>("compression");
    QTest::addColumn<SimpleCrypt::IntegrityPolicy>("integrity");
    QTest::addColumn<QByteArray>("plaintext");

    const QList<QPair<const char *, SimpleCrypt::CompressionPolicy>> compressions {
        { "CompressIfSmaller", SimpleCrypt::CompressIfSmaller },
        { "CompressAlways", SimpleCrypt::CompressAlways },
        { "CompressNever", SimpleCrypt::CompressNever },
    };
    const QList<QPair<const char *, SimpleCrypt::IntegrityPolicy>> integrities {
        { "IntegrityOff", SimpleCrypt::IntegrityOff },
        { "IntegrityCrc16", SimpleCrypt::IntegrityCrc16 },
        { "IntegritySha1", SimpleCrypt::IntegritySha1 },
    };
    QByteArray binary(300, Qt::Uninitialized);
    for (int i = 0; i < binary.size(); ++i)
        binary[i] = char(i * 7);
    const QList<QPair<const char *, QByteArray>> plaintexts {
        { "empty", QByteArray() },
        { "token", QByteArray("ya29.a0AfH6SMBx") },
        { "repetitive", repetitive() },
        { "binary", binary },
    };
    for (const auto &c : compressions)
        for (const auto &i : integrities)
            for (const auto &p : plaintexts)
                QTest::addRow("%s %s %s", c.first, i.first, p.first)
                        << c.second << i.second << p.second;
}

void TestSimpleCrypt::roundTrip()
{
    QFETCH(SimpleCrypt::CompressionPolicy, compression);
    QFETCH(SimpleCrypt::IntegrityPolicy, integrity);
    QFETCH(QByteArray, plaintext);

    SimpleCrypt crypt(Key);
    crypt.setCompressionPolicy(compression);
    crypt.setIntegrityPolicy(integrity);

    const QByteArray cipher = crypt.encryptToByteArray(plaintext);
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherOk);
    QCOMPARE(crypt.decryptToByteArray(cipher), plaintext);
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherOk);

    // A reader with default policies understands every combination.
    SimpleCrypt reader(Key);
    QCOMPARE(reader.decryptToByteArray(cipher), plaintext);

    const QString text = QString::fromUtf8(plaintext);
    QCOMPARE(reader.decryptToString(crypt.encryptToString(text)), text);
}

void TestSimpleCrypt::encryptionFollowsTheFormat_data()
{
    QTest::addColumn<SimpleCrypt::CompressionPolicy>("compression");
    QTest::addColumn<SimpleCrypt::IntegrityPolicy>("integrity");
    QTest::addColumn<QByteArray>("plaintext");
    QTest::addColumn<int>("flags");

    const QByteArray token("ya29.a0AfH6SMBx");
    QTest::newRow("defaults, short")
            << SimpleCrypt::CompressIfSmaller << SimpleCrypt::IntegrityCrc16 << token << 0x02;
    QTest::newRow("defaults, repetitive") << SimpleCrypt::CompressIfSmaller
                                          << SimpleCrypt::IntegrityCrc16 << repetitive() << 0x03;
    QTest::newRow("always, sha1") << SimpleCrypt::CompressAlways << SimpleCrypt::IntegritySha1
                                  << token << 0x05;
    QTest::newRow("never, off") << SimpleCrypt::CompressNever << SimpleCrypt::IntegrityOff
                                << repetitive() << 0x00;
    QTest::newRow("never, crc") << SimpleCrypt::CompressNever << SimpleCrypt::IntegrityCrc16
                                << token << 0x02;
}

void TestSimpleCrypt::encryptionFollowsTheFormat()
{
    QFETCH(SimpleCrypt::CompressionPolicy, compression);
    QFETCH(SimpleCrypt::IntegrityPolicy, integrity);
    QFETCH(QByteArray, plaintext);
    QFETCH(int, flags);

    SimpleCrypt crypt(Key);
    crypt.setCompressionPolicy(compression);
    crypt.setIntegrityPolicy(integrity);
    const QByteArray cipher = crypt.encryptToByteArray(plaintext);

    QCOMPARE(int(cipher.at(0)), 0x03);
    QCOMPARE(int(uchar(cipher.at(1))), flags);

    QByteArray body = referenceBody(Key, cipher).mid(1); // past the random byte
    QByteArray field;
    if (flags & SimpleCrypt::FlagCrc16)
        field = body.left(2);
    else if (flags & SimpleCrypt::FlagSha1)
        field = body.left(20);
    const QByteArray payload = body.mid(field.size());
    if (flags & SimpleCrypt::FlagCrc16)
        QCOMPARE(field, crcField(payload));
    if (flags & SimpleCrypt::FlagSha1)
        QCOMPARE(field, sha1(payload));

    if (flags & SimpleCrypt::FlagCompressed) {
        QCOMPARE(payload, qCompress(plaintext, 9));
        QCOMPARE(qUncompress(payload), plaintext);
    } else {
        QCOMPARE(payload, plaintext);
    }
}

void TestSimpleCrypt::decryptsFixedCipherTexts_data()
{
    QTest::addColumn<QString>("cipher");
    QTest::addColumn<QByteArray>("plaintext");

    // Written by an implementation outside this code base, key 0x0123456789ABCDEF.
    const QByteArray token = QStringLiteral("ya29.token-ü").toUtf8();
    QTest::newRow("crc16") << "AwJKYMs7PUpQf+RGhmpjC+tW" << token;
    QTest::newRow("sha1") << "AwTT1Oj+ORGXDdNPV5tviIwpaQuHkGFdHyz6GcYgLAxBbUEw" << token;
    QTest::newRow("compressed crc16")
            << "AwPvFbsyVREeZ1LUM/DZgOYj7SADx9JO" << repetitive().left(300);
}

void TestSimpleCrypt::decryptsFixedCipherTexts()
{
    QFETCH(QString, cipher);
    QFETCH(QByteArray, plaintext);

    SimpleCrypt crypt(Key);
    QCOMPARE(crypt.decryptToByteArray(cipher), plaintext);
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherOk);
    QCOMPARE(crypt.decryptToString(cipher), QString::fromUtf8(plaintext));
}

void TestSimpleCrypt::decryptsReferenceCipherTexts_data()
{
    QTest::addColumn<QByteArray>("cipher");
    QTest::addColumn<QByteArray>("plaintext");
    QTest::addColumn<SimpleCrypt::CipherStatus>("status");

    const QByteArray text("the key byte index restarts every eight body bytes");
    const QByteArray compressed = qCompress(text, 9);
    using S = SimpleCrypt;
    QTest::newRow("no flags") << referenceCipher(Key, 0x00, 'r', {}, text) << text << S::CipherOk;
    QTest::newRow("crc") << referenceCipher(Key, 0x02, 'r', crcField(text), text) << text
                         << S::CipherOk;
    QTest::newRow("sha1") << referenceCipher(Key, 0x04, 'r', sha1(text), text) << text
                          << S::CipherOk;
    QTest::newRow("compressed") << referenceCipher(Key, 0x01, 'r', {}, compressed) << text
                                << S::CipherOk;
    QTest::newRow("compressed crc")
            << referenceCipher(Key, 0x03, 'r', crcField(compressed), compressed) << text
            << S::CipherOk;
    QTest::newRow("compressed sha1")
            << referenceCipher(Key, 0x05, 'r', sha1(compressed), compressed) << text << S::CipherOk;
    // With both integrity bits the CRC is read and checked, the SHA-1 never.
    QTest::newRow("crc and sha1, crc field")
            << referenceCipher(Key, 0x06, 'r', crcField(text), text) << text << S::CipherOk;
    QTest::newRow("crc and sha1, sha1 field") << referenceCipher(Key, 0x06, 'r', sha1(text), text)
                                              << QByteArray() << S::CipherIntegrityMismatch;
    QTest::newRow("all flags") << referenceCipher(Key, 0x07, 'r', crcField(compressed), compressed)
                               << text << S::CipherOk;
    // Unknown bits are ignored.
    QTest::newRow("unknown bits") << referenceCipher(Key, char(0xFA), 'r', crcField(text), text)
                                  << text << S::CipherOk;
    QTest::newRow("crc in little-endian order")
            << referenceCipher(Key, 0x02, 'r', swapped(crcField(text)), text) << QByteArray()
            << S::CipherIntegrityMismatch;
}

void TestSimpleCrypt::decryptsReferenceCipherTexts()
{
    QFETCH(QByteArray, cipher);
    SimpleCrypt crypt(Key);
    QTEST(crypt.decryptToByteArray(cipher), "plaintext");
    QTEST(crypt.lastStatus(), "status");
}

void TestSimpleCrypt::emptyPlaintext()
{
    SimpleCrypt crypt(Key);
    const QByteArray cipher = crypt.encryptToByteArray(QByteArray());
    QCOMPARE(cipher.size(), 5);
    QCOMPARE(cipher.left(2), QByteArray("\x03\x02"));
    QCOMPARE(referenceBody(Key, cipher).mid(1), crcField(QByteArray()));
    QCOMPARE(crypt.decryptToByteArray(cipher), QByteArray());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherOk);
}

void TestSimpleCrypt::flagsByte_data()
{
    QTest::addColumn<QByteArray>("plaintext");
    QTest::addColumn<int>("flags");

    QTest::newRow("short token") << QByteArray("1//0gAbCdEf") << 0x02;
    QTest::newRow("long repetitive") << repetitive() << 0x03;
}

void TestSimpleCrypt::flagsByte()
{
    QFETCH(QByteArray, plaintext);
    SimpleCrypt crypt(Key);
    QTEST(int(crypt.encryptToByteArray(plaintext).at(1)), "flags");
}

void TestSimpleCrypt::compressionThatDoesNotShortenIsDropped()
{
    // Grow a run in front of incompressible bytes until compression saves exactly nothing.
    QByteArray tail(40, Qt::Uninitialized);
    QRandomGenerator random(7);
    for (char &c : tail)
        c = char(random.generate());
    QByteArray plaintext;
    for (int run = 0; run < 200 && plaintext.isEmpty(); ++run) {
        const QByteArray candidate = QByteArray(run, 'a') + tail;
        if (qCompress(candidate, 9).size() == candidate.size())
            plaintext = candidate;
    }
    QVERIFY(!plaintext.isEmpty());

    SimpleCrypt crypt(Key);
    const QByteArray cipher = crypt.encryptToByteArray(plaintext);
    QCOMPARE(int(cipher.at(1)), 0x02);
    QCOMPARE(referenceBody(Key, cipher).mid(3), plaintext);
}

void TestSimpleCrypt::twoEncryptionsDiffer()
{
    SimpleCrypt crypt(Key);
    const QString token = QStringLiteral("ya29.same-token");
    // The random first byte changes every later byte; collect a few to avoid a chance repeat.
    QSet<QString> ciphers;
    for (int i = 0; i < 8; ++i) {
        const QString cipher = crypt.encryptToString(token);
        QCOMPARE(crypt.decryptToString(cipher), token);
        ciphers.insert(cipher);
    }
    QVERIFY(ciphers.size() > 1);
}

void TestSimpleCrypt::keyZeroIsAKey()
{
    SimpleCrypt crypt(0);
    QVERIFY(crypt.hasKey());
    const QByteArray plain("zero key");
    const QByteArray cipher = crypt.encryptToByteArray(plain);
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherOk);
    QCOMPARE(referenceBody(0, cipher).mid(3), plain);
    QCOMPARE(crypt.decryptToByteArray(cipher), plain);
}

void TestSimpleCrypt::setKeyReplacesTheKey()
{
    SimpleCrypt crypt;
    crypt.setKey(Key);
    const QByteArray cipher = crypt.encryptToByteArray(QByteArray("first"));
    crypt.setKey(~Key);
    QCOMPARE(crypt.key(), ~Key);
    QCOMPARE(crypt.decryptToByteArray(cipher), QByteArray());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherIntegrityMismatch);
    crypt.setKey(Key);
    QCOMPARE(crypt.decryptToByteArray(cipher), QByteArray("first"));
}

void TestSimpleCrypt::noKey()
{
    SimpleCrypt crypt;
    QVERIFY(!crypt.hasKey());
    QTest::ignoreMessage(QtWarningMsg, NoKeyWarning);
    QCOMPARE(crypt.encryptToByteArray(QByteArray("x")), QByteArray());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherNoKey);

    SimpleCrypt other(Key);
    const QByteArray cipher = other.encryptToByteArray(QByteArray("x"));
    QTest::ignoreMessage(QtWarningMsg, NoKeyWarning);
    QCOMPARE(crypt.decryptToByteArray(cipher), QByteArray());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherNoKey);

    QTest::ignoreMessage(QtWarningMsg, NoKeyWarning);
    QCOMPARE(crypt.encryptToString(QStringLiteral("x")), QString());
}

void TestSimpleCrypt::emptyCipherText()
{
    SimpleCrypt crypt(Key);
    QCOMPARE(crypt.decryptToByteArray(QByteArray()), QByteArray());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherBadFormat);
    QCOMPARE(crypt.decryptToString(QString()), QString());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherBadFormat);
}

void TestSimpleCrypt::badVersion_data()
{
    QTest::addColumn<char>("version");
    QTest::newRow("0x02") << char(0x02);
    QTest::newRow("0x04") << char(0x04);
    QTest::newRow("0x00") << char(0x00);
}

void TestSimpleCrypt::badVersion()
{
    QFETCH(char, version);
    SimpleCrypt crypt(Key);
    QByteArray cipher = crypt.encryptToByteArray(QByteArray("otherwise valid"));
    cipher[0] = version;
    QTest::ignoreMessage(QtWarningMsg, VersionWarning);
    QCOMPARE(crypt.decryptToByteArray(cipher), QByteArray());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherBadFormat);
}

void TestSimpleCrypt::versionByteAlone()
{
    SimpleCrypt crypt(Key);
    QCOMPARE(crypt.decryptToByteArray(QByteArray(1, 0x03)), QByteArray());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherOk);
}

void TestSimpleCrypt::everyBodyByteFlipIsDetected_data()
{
    QTest::addColumn<QByteArray>("plaintext");
    QTest::newRow("uncompressed") << QByteArray("ya29.a0AfH6SMBx-refresh");
    QTest::newRow("compressed") << repetitive();
}

void TestSimpleCrypt::everyBodyByteFlipIsDetected()
{
    QFETCH(QByteArray, plaintext);
    SimpleCrypt crypt(Key);
    const QByteArray cipher = crypt.encryptToByteArray(plaintext);
    for (int i = 2; i < cipher.size(); ++i) {
        for (int bit = 0; bit < 8; ++bit) {
            QByteArray damaged = cipher;
            damaged[i] = char(damaged[i] ^ (1 << bit));
            QVERIFY2(crypt.decryptToByteArray(damaged).isEmpty(), qPrintable(QString::number(i)));
            QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherIntegrityMismatch);
        }
    }
}

void TestSimpleCrypt::wrongKey()
{
    SimpleCrypt writer(Key);
    SimpleCrypt reader(Key + 1);
    const QString cipher = writer.encryptToString(QStringLiteral("1//refresh-token"));
    QCOMPARE(reader.decryptToString(cipher), QString());
    QCOMPARE(reader.lastStatus(), SimpleCrypt::CipherIntegrityMismatch);
}

void TestSimpleCrypt::integrityFieldTooShort_data()
{
    QTest::addColumn<QByteArray>("cipher");
    QTest::newRow("crc, one byte") << referenceCipher(Key, 0x02, 'r', {}, QByteArray("x"));
    QTest::newRow("crc, nothing") << referenceCipher(Key, 0x02, 'r', {}, {});
    QTest::newRow("sha1, 19 bytes") << referenceCipher(Key, 0x04, 'r', {}, QByteArray(19, 'x'));
    QTest::newRow("version and flags only") << QByteArray("\x03\x02", 2);
}

void TestSimpleCrypt::integrityFieldTooShort()
{
    QFETCH(QByteArray, cipher);
    SimpleCrypt crypt(Key);
    QCOMPARE(crypt.decryptToByteArray(cipher), QByteArray());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherIntegrityMismatch);
}

void TestSimpleCrypt::corruptCompressedPayload()
{
    // A valid CRC over a payload that does not decompress: the status stays Ok.
    const QByteArray payload("\x00\x00\x00\x10not zlib", 12);
    SimpleCrypt crypt(Key);
    QuietMessages quiet;
    QCOMPARE(crypt.decryptToByteArray(referenceCipher(Key, 0x03, 'r', crcField(payload), payload)),
             QByteArray());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherOk);
}

void TestSimpleCrypt::lenientBase64()
{
    SimpleCrypt crypt(Key);
    const QString cipher = crypt.encryptToString(QStringLiteral("ya29.token"));
    QString noisy;
    for (const QChar c : cipher)
        noisy += c + QStringLiteral(" \n!");
    QCOMPARE(crypt.decryptToString(noisy), QStringLiteral("ya29.token"));
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherOk);
}

void TestSimpleCrypt::textAndByteFormsAreNotInverse()
{
    SimpleCrypt crypt(Key);
    const QString text = crypt.encryptToString(QByteArray("bytes"));
    QCOMPARE(crypt.decryptToString(text), QStringLiteral("bytes"));
    // The byte-array form expects raw cipher bytes, not base64 text.
    QTest::ignoreMessage(QtWarningMsg, VersionWarning);
    QCOMPARE(crypt.decryptToString(text.toLatin1()), QString());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherBadFormat);

    const QByteArray raw = crypt.encryptToByteArray(QStringLiteral("bytes"));
    QCOMPARE(crypt.decryptToString(raw), QStringLiteral("bytes"));
}

void TestSimpleCrypt::garbageNeverCrashes()
{
    SimpleCrypt crypt(Key);
    QRandomGenerator random(20261123);
    const QByteArray valid = crypt.encryptToByteArray(repetitive());
    QuietMessages quiet;
    for (int round = 0; round < GarbageRounds; ++round) {
        QByteArray input;
        switch (round % 4) {
        case 0: // random bytes
            input.resize(random.bounded(40));
            for (char &c : input)
                c = char(random.generate());
            break;
        case 1: // random bytes behind a valid version
            input.resize(1 + random.bounded(40));
            for (char &c : input)
                c = char(random.generate());
            input[0] = 0x03;
            break;
        case 2: // a valid cipher text, truncated
            input = valid.left(random.bounded(valid.size()));
            break;
        case 3: // a valid cipher text, mutated
            input = valid;
            for (int n = 0, count = 1 + random.bounded(4); n < count; ++n)
                input[random.bounded(input.size())] = char(random.generate());
            break;
        }
        const QByteArray plain = crypt.decryptToByteArray(input);
        const SimpleCrypt::CipherStatus status = crypt.lastStatus();
        if (status != SimpleCrypt::CipherOk)
            QVERIFY(plain.isEmpty());
        if (input.isEmpty() || input.at(0) != 0x03)
            QCOMPARE(status, SimpleCrypt::CipherBadFormat);
        crypt.decryptToString(QString::fromLatin1(input));
    }
}

QTEST_GUILESS_MAIN(TestSimpleCrypt)
#include "tst_simplecrypt.moc"
