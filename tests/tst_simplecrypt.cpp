// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "simplecrypt.h"

#include <QRandomGenerator>
#include <QtEndian>
#include <QtTest>

Q_DECLARE_METATYPE(SimpleCrypt::CompressionPolicy)
Q_DECLARE_METATYPE(SimpleCrypt::IntegrityPolicy)
Q_DECLARE_METATYPE(SimpleCrypt::CipherStatus)

namespace {
constexpr quint64 Key = 0x0123456789ABCDEFULL;
const char *const NoKeyWarning = "No key set.";
const char *const VersionWarning = "Invalid version or not a cyphertext.";
// Long enough that the key's bytes come round more than once.
const QByteArray Text("the key byte index restarts every eight body bytes");

QByteArray repetitive()
{
    return QByteArray("abc").repeated(200);
}
} // namespace

// The token cipher. Stored tokens were written with it, so its format is binding: cipher texts
// written once are read back byte for byte.
class TestSimpleCrypt : public QObject
{
    Q_OBJECT

private slots:
    void roundTrip_data();
    void roundTrip();
    void cipherShape_data();
    void cipherShape();
    void decrypts_data();
    void decrypts();
    void claimedLength_data();
    void claimedLength();
    void compressionThatDoesNotShortenIsDropped();
    void twoEncryptionsDiffer();
    void keys();
    void everyBodyByteFlipIsDetected_data();
    void everyBodyByteFlipIsDetected();
    void textAndByteFormsAreNotInverse();
};

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
    // A reader with the default policies understands every combination.
    SimpleCrypt reader(Key);
    QCOMPARE(reader.decryptToByteArray(cipher), plaintext);
    QCOMPARE(reader.lastStatus(), SimpleCrypt::CipherOk);
    const QString text = QString::fromUtf8(plaintext);
    QCOMPARE(reader.decryptToString(crypt.encryptToString(text)), text);
}

// Version, flags, then the random byte, the integrity field and the payload.
void TestSimpleCrypt::cipherShape_data()
{
    QTest::addColumn<SimpleCrypt::CompressionPolicy>("compression");
    QTest::addColumn<SimpleCrypt::IntegrityPolicy>("integrity");
    QTest::addColumn<QByteArray>("plaintext");
    QTest::addColumn<int>("flags");
    QTest::addColumn<int>("size");

    const QByteArray token("ya29.a0AfH6SMBx");
    QTest::newRow("defaults, short token")
            << SimpleCrypt::CompressIfSmaller << SimpleCrypt::IntegrityCrc16 << token << 0x02
            << 2 + 1 + 2 + int(token.size());
    QTest::newRow("defaults, repetitive")
            << SimpleCrypt::CompressIfSmaller << SimpleCrypt::IntegrityCrc16 << repetitive() << 0x03
            << 2 + 1 + 2 + int(qCompress(repetitive(), 9).size());
    QTest::newRow("defaults, empty") << SimpleCrypt::CompressIfSmaller
                                     << SimpleCrypt::IntegrityCrc16 << QByteArray() << 0x02 << 5;
    QTest::newRow("always, sha1") << SimpleCrypt::CompressAlways << SimpleCrypt::IntegritySha1
                                  << token << 0x05 << 2 + 1 + 20 + int(qCompress(token, 9).size());
    QTest::newRow("never, off") << SimpleCrypt::CompressNever << SimpleCrypt::IntegrityOff
                                << repetitive() << 0x00 << 2 + 1 + int(repetitive().size());
}

void TestSimpleCrypt::cipherShape()
{
    QFETCH(SimpleCrypt::CompressionPolicy, compression);
    QFETCH(SimpleCrypt::IntegrityPolicy, integrity);
    QFETCH(QByteArray, plaintext);

    SimpleCrypt crypt(Key);
    crypt.setCompressionPolicy(compression);
    crypt.setIntegrityPolicy(integrity);
    const QByteArray cipher = crypt.encryptToByteArray(plaintext);
    QCOMPARE(int(cipher.at(0)), 0x03);
    QTEST(int(uchar(cipher.at(1))), "flags");
    QTEST(int(cipher.size()), "size");
}

// Cipher texts written once, with the key above unless said otherwise, and what reading them
// gives: the plaintext, or nothing with the status (and the warning) that says why.
void TestSimpleCrypt::decrypts_data()
{
    QTest::addColumn<QByteArray>("cipher");
    QTest::addColumn<quint64>("key");
    QTest::addColumn<QByteArray>("plaintext");
    QTest::addColumn<SimpleCrypt::CipherStatus>("status");
    QTest::addColumn<QByteArray>("warning");

    using S = SimpleCrypt;
    const auto base64 = [](const char *text) { return QByteArray::fromBase64(text); };
    const QByteArray token = QStringLiteral("ya29.token-ü").toUtf8();
    const QByteArray none;

    // Written by an implementation outside this code base.
    QTest::newRow("crc16, outside")
            << base64("AwJKYMs7PUpQf+RGhmpjC+tW") << Key << token << S::CipherOk << none;
    QTest::newRow("sha1, outside") << base64("AwTT1Oj+ORGXDdNPV5tviIwpaQuHkGFdHyz6GcYgLAxBbUEw")
                                   << Key << token << S::CipherOk << none;
    QTest::newRow("compressed crc16, outside") << base64("AwPvFbsyVREeZ1LUM/DZgOYj7SADx9JO") << Key
                                               << repetitive().left(300) << S::CipherOk << none;
    // With both integrity bits the CRC is read and checked, the SHA-1 never.
    QTest::newRow("crc and sha1, crc field") << base64(
            "AwadtEC9spKR+3HFTqW7iszta8gH6/SRwKQ4gUuwo5WW8mvDGuqtjcehJp8U//fWjK0glEunsw==")
                                             << Key << Text << S::CipherOk << none;
    QTest::newRow("crc and sha1, sha1 field")
            << base64("AwadqzouiCb2N+FjXcr/I6cOboVvFPbHjOgngU+/+N+F8HqXVbKxkcrrdt4G+/3Kne8giFW5rJCT"
                      "93HbGOWihcmsOtce7v3djQ==")
            << Key << QByteArray() << S::CipherIntegrityMismatch << none;
    QTest::newRow("all flags") << base64("AwedBw6H4KW0zfgQcTlXEhEc8P0DOMXiETL1jGYDkul2gAbb4+MeeTYC"
                                         "s0au4pA1t5EWpgX5KfMyMgF/xq8=")
                               << Key << Text << S::CipherOk << none;
    QTest::newRow("unknown bits ignored") << base64(
            "A/qdtEC9spKR+3HFTqW7iszta8gH6/SRwKQ4gUuwo5WW8mvDGuqtjcehJp8U//fWjK0glEunsw==")
                                          << Key << Text << S::CipherOk << none;
    QTest::newRow("key zero") << base64("AwJyW6/VsMKtjeaD+g==") << quint64(0)
                              << QByteArray("zero key") << S::CipherOk << none;
    QTest::newRow("empty plaintext")
            << base64("AwKdUPs=") << Key << QByteArray() << S::CipherOk << none;
    // Damaged, foreign or not cipher texts at all.
    QTest::newRow("crc in little-endian order") << base64(
            "AwKdD0C9spKR+3HFTqW7iszta8gH6/SRwKQ4gUuwo5WW8mvDGuqtjcehJp8U//fWjK0glEunsw==")
                                                << Key << QByteArray() << S::CipherIntegrityMismatch
                                                << none;
    QTest::newRow("another key") << base64("AwKCgTKKwqj5nQu0eoCP57DeRe0o") << Key << QByteArray()
                                 << S::CipherIntegrityMismatch << none;
    QTest::newRow("crc field of one byte")
            << base64("AwKdKA==") << Key << QByteArray() << S::CipherIntegrityMismatch << none;
    QTest::newRow("crc field missing")
            << base64("AwKd") << Key << QByteArray() << S::CipherIntegrityMismatch << none;
    QTest::newRow("sha1 field of 19 bytes") << base64("AwSdKPsKFShzCp0o+woVKHMKnSj7Cg==") << Key
                                            << QByteArray() << S::CipherIntegrityMismatch << none;
    QTest::newRow("version and flags only") << QByteArray("\x03\x02", 2) << Key << QByteArray()
                                            << S::CipherIntegrityMismatch << none;
    QTest::newRow("version byte alone")
            << QByteArray(1, 0x03) << Key << QByteArray() << S::CipherOk << none;
    QTest::newRow("nothing") << QByteArray() << Key << QByteArray() << S::CipherBadFormat << none;
    // A valid CRC over a payload that does not decompress: the status stays Ok.
    QTest::newRow("payload not zlib") << base64("AwOd8AyF4qeU+3vCSbqxndw=") << Key << QByteArray()
                                      << S::CipherOk << QByteArray("qUncompress");
    for (const char version : { '\x00', '\x02', '\x04' })
        QTest::addRow("version %d", version)
                << QByteArray(1, version) + base64("AwJKYMs7PUpQf+RGhmpjC+tW").mid(1) << Key
                << QByteArray() << S::CipherBadFormat << QByteArray(VersionWarning);
}

void TestSimpleCrypt::decrypts()
{
    QFETCH(QByteArray, cipher);
    QFETCH(quint64, key);
    QFETCH(QByteArray, plaintext);
    QFETCH(QByteArray, warning);

    SimpleCrypt crypt(key);
    if (!warning.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QString::fromLatin1(warning)));
    QCOMPARE(crypt.decryptToByteArray(cipher), plaintext);
    QTEST(crypt.lastStatus(), "status");
    // The text form reads the base64 rendering of the same bytes.
    if (!warning.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QString::fromLatin1(warning)));
    QCOMPARE(crypt.decryptToString(QString::fromLatin1(cipher.toBase64())),
             QString::fromUtf8(plaintext));
}

// A compressed payload begins with the length it claims for the plaintext. Deflate makes at most
// 1032 bytes of each byte it reads; a longer claim is refused unread, a shorter one is only room.
void TestSimpleCrypt::claimedLength_data()
{
    QTest::addColumn<QByteArray>("plaintext");
    QTest::addColumn<qint64>("claimed");
    QTest::addColumn<QByteArray>("read");

    // Level 9 makes about 1028 bytes of each byte of a long run, close to the bound.
    const QByteArray run(4 << 20, '\0');
    QTest::newRow("a long run, as written") << run << qint64(run.size()) << run;
    const qint64 bound = 1032 * (qCompress(repetitive(), 9).size() - 4);
    QTest::newRow("as much as the bytes can hold") << repetitive() << bound << repetitive();
    QTest::newRow("more than they can hold") << repetitive() << bound + 1 << QByteArray();
}

void TestSimpleCrypt::claimedLength()
{
    QFETCH(QByteArray, plaintext);
    QFETCH(qint64, claimed);

    QByteArray payload = qCompress(plaintext, 9);
    qToBigEndian(quint32(claimed), payload.data());
    // Stored as it is, then marked compressed: the CRC holds, so only the claim is in question.
    SimpleCrypt crypt(Key);
    crypt.setCompressionPolicy(SimpleCrypt::CompressNever);
    QByteArray cipher = crypt.encryptToByteArray(payload);
    cipher[1] = char(cipher.at(1) | SimpleCrypt::FlagCompressed);
    QTEST(crypt.decryptToByteArray(cipher), "read");
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherOk);
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
    QCOMPARE(cipher.size(), 2 + 1 + 2 + plaintext.size());
    QCOMPARE(crypt.decryptToByteArray(cipher), plaintext);
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

// Only the parameterless constructor leaves the cipher without a key; key 0 is a key.
void TestSimpleCrypt::keys()
{
    SimpleCrypt crypt;
    QTest::ignoreMessage(QtWarningMsg, NoKeyWarning);
    QCOMPARE(crypt.encryptToByteArray(QByteArray("x")), QByteArray());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherNoKey);
    QTest::ignoreMessage(QtWarningMsg, NoKeyWarning);
    QCOMPARE(crypt.decryptToString(QStringLiteral("AwKdUPs=")), QString());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherNoKey);

    crypt.setKey(0);
    const QByteArray cipher = crypt.encryptToByteArray(QByteArray("first"));
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherOk);
    crypt.setKey(Key);
    QCOMPARE(crypt.decryptToByteArray(cipher), QByteArray());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherIntegrityMismatch);
    crypt.setKey(0);
    QCOMPARE(crypt.decryptToByteArray(cipher), QByteArray("first"));
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

QTEST_GUILESS_MAIN(TestSimpleCrypt)
#include "tst_simplecrypt.moc"
