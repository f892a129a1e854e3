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
const char *const VersionWarning = "Invalid version or not a cyphertext.";
// Long enough that the key's bytes come round more than once.
const QByteArray Text("the key byte index restarts every eight body bytes");
// Not ASCII, so that the text forms' encoding shows.
const QByteArray Token = QStringLiteral("ya29.token-ü").toUtf8();
const QByteArray Repetitive = QByteArray("abc").repeated(200);

// A run in front of incompressible bytes, grown until compression saves exactly nothing.
QByteArray compressesToItsOwnSize()
{
    QByteArray tail(40, Qt::Uninitialized);
    QRandomGenerator random(7);
    for (char &c : tail)
        c = char(random.generate());
    for (int run = 0; run < 200; ++run) {
        const QByteArray candidate = QByteArray(run, 'a') + tail;
        if (qCompress(candidate, 9).size() == candidate.size())
            return candidate;
    }
    return QByteArray();
}

} // namespace

// The token cipher. Stored tokens were written with it, so its format is binding: cipher texts
// written once are read back byte for byte.
class TestSimpleCrypt : public QObject
{
    Q_OBJECT

private slots:
    void encrypts_data();
    void encrypts();
    void decrypts_data();
    void decrypts();
    void claimedLength_data();
    void claimedLength();
    void twoEncryptionsDiffer();
    void withoutAKey();
};

// Version, flags, then the random byte, the integrity field and the payload; a reader with the
// default policies understands every combination.
void TestSimpleCrypt::encrypts_data()
{
    QTest::addColumn<SimpleCrypt::CompressionPolicy>("compression");
    QTest::addColumn<SimpleCrypt::IntegrityPolicy>("integrity");
    QTest::addColumn<QByteArray>("plaintext");
    QTest::addColumn<int>("flags");
    QTest::addColumn<int>("size");

    using S = SimpleCrypt;
    const auto row = [](const char *name, S::CompressionPolicy compression,
                        S::IntegrityPolicy integrity, const QByteArray &plaintext, int flags,
                        int size) {
        QTest::newRow(name) << compression << integrity << plaintext << flags << size;
    };
    const QByteArray noGain = compressesToItsOwnSize();
    QVERIFY(!noGain.isEmpty());
    row("defaults, token", S::CompressIfSmaller, S::IntegrityCrc16, Token, 0x02, 5 + Token.size());
    row("defaults, repetitive", S::CompressIfSmaller, S::IntegrityCrc16, Repetitive, 0x03,
        5 + int(qCompress(Repetitive, 9).size()));
    row("defaults, empty", S::CompressIfSmaller, S::IntegrityCrc16, QByteArray(), 0x02, 5);
    row("defaults, compression saves nothing", S::CompressIfSmaller, S::IntegrityCrc16, noGain,
        0x02, 5 + noGain.size());
    row("always, sha1", S::CompressAlways, S::IntegritySha1, Token, 0x05,
        23 + int(qCompress(Token, 9).size()));
    row("never, off", S::CompressNever, S::IntegrityOff, Repetitive, 0x00, 3 + Repetitive.size());
}

void TestSimpleCrypt::encrypts()
{
    QFETCH(SimpleCrypt::CompressionPolicy, compression);
    QFETCH(SimpleCrypt::IntegrityPolicy, integrity);
    QFETCH(QByteArray, plaintext);

    SimpleCrypt crypt(Key);
    crypt.setCompressionPolicy(compression);
    crypt.setIntegrityPolicy(integrity);
    const QByteArray cipher = crypt.encryptToByteArray(plaintext);
    QTEST(int(uchar(cipher.at(1))), "flags");
    QTEST(int(cipher.size()), "size");

    SimpleCrypt reader(Key);
    QCOMPARE(reader.decryptToByteArray(cipher), plaintext);
    // The text form is the base64 rendering of the text's UTF-8.
    const QString text = QString::fromUtf8(plaintext);
    QCOMPARE(reader.decryptToString(crypt.encryptToString(text)), text);
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
    const auto row = [](const char *name, const QByteArray &cipher, const QByteArray &plaintext,
                        S::CipherStatus status = S::CipherOk, const char *warning = "",
                        quint64 key = Key) {
        QTest::newRow(name) << cipher << key << plaintext << status << QByteArray(warning);
    };
    const auto damaged = [&row](const char *name, const QByteArray &cipher) {
        row(name, cipher, QByteArray(), S::CipherIntegrityMismatch);
    };
    const auto base64 = [](const char *text) { return QByteArray::fromBase64(text); };
    const char *const bothFields =
            "AwadtEC9spKR+3HFTqW7iszta8gH6/SRwKQ4gUuwo5WW8mvDGuqtjcehJp8U//fWjK0glEunsw==";

    // Written by an implementation outside this code base.
    row("crc16, outside", base64("AwJKYMs7PUpQf+RGhmpjC+tW"), Token);
    row("sha1, outside", base64("AwTT1Oj+ORGXDdNPV5tviIwpaQuHkGFdHyz6GcYgLAxBbUEw"), Token);
    row("compressed crc16, outside", base64("AwPvFbsyVREeZ1LUM/DZgOYj7SADx9JO"),
        Repetitive.left(300));
    // With both integrity bits the CRC is read and checked, the SHA-1 never.
    row("crc and sha1, crc field", base64(bothFields), Text);
    damaged("crc and sha1, sha1 field",
            base64("AwadqzouiCb2N+FjXcr/I6cOboVvFPbHjOgngU+/+N+F8HqXVbKxkcrrdt4G+/3Kne8giFW5rJCT"
                   "93HbGOWihcmsOtce7v3djQ=="));
    row("all flags",
        base64("AwedBw6H4KW0zfgQcTlXEhEc8P0DOMXiETL1jGYDkul2gAbb4+MeeTYCs0au4pA1t5EWpgX5KfMyMgF/"
               "xq8="),
        Text);
    row("unknown bits ignored", QByteArray(base64(bothFields)).replace(1, 1, "\xfa"), Text);
    row("key zero", base64("AwJyW6/VsMKtjeaD+g=="), "zero key", S::CipherOk, "", 0);
    row("empty plaintext", base64("AwKdUPs="), QByteArray());
    // Damaged, foreign or not cipher texts at all.
    damaged("crc in little-endian order",
            base64("AwKdD0C9spKR+3HFTqW7iszta8gH6/SRwKQ4gUuwo5WW8mvDGuqtjcehJp8U//fWjK0glEunsw=="));
    damaged("another key", base64("AwKCgTKKwqj5nQu0eoCP57DeRe0o"));
    damaged("crc field of one byte", base64("AwKdKA=="));
    damaged("sha1 field of 19 bytes", base64("AwSdKPsKFShzCp0o+woVKHMKnSj7Cg=="));
    damaged("version and flags only", QByteArray("\x03\x02", 2));
    row("version byte alone", QByteArray(1, 0x03), QByteArray());
    row("nothing", QByteArray(), QByteArray(), S::CipherBadFormat);
    // A valid CRC over a payload that does not decompress: the status stays Ok.
    row("payload not zlib", base64("AwOd8AyF4qeU+3vCSbqxndw="), QByteArray(), S::CipherOk,
        "qUncompress");
    for (const char version : { '\x00', '\x02', '\x04' })
        row(qPrintable(QStringLiteral("version %1").arg(int(version))),
            QByteArray(1, version) + base64("AwJKYMs7PUpQf+RGhmpjC+tW").mid(1), QByteArray(),
            S::CipherBadFormat, VersionWarning);
}

void TestSimpleCrypt::decrypts()
{
    QFETCH(QByteArray, cipher);
    QFETCH(quint64, key);
    QFETCH(QByteArray, plaintext);
    QFETCH(QByteArray, warning);

    for (int i = 0; !warning.isEmpty() && i < 3; ++i)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QString::fromLatin1(warning)));
    SimpleCrypt crypt(key);
    QCOMPARE(crypt.decryptToByteArray(cipher), plaintext);
    QTEST(crypt.lastStatus(), "status");
    // The text form reads the base64 rendering of the same bytes; given bytes, it reads them as
    // they are, so it is not the inverse of encryptToString(QByteArray).
    const QString text = QString::fromUtf8(plaintext);
    QCOMPARE(crypt.decryptToString(QString::fromLatin1(cipher.toBase64())), text);
    QCOMPARE(crypt.decryptToString(cipher), text);
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
    const qint64 bound = 1032 * (qCompress(Repetitive, 9).size() - 4);
    QTest::newRow("as much as the bytes can hold") << Repetitive << bound << Repetitive;
    QTest::newRow("more than they can hold") << Repetitive << bound + 1 << QByteArray();
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

void TestSimpleCrypt::twoEncryptionsDiffer()
{
    SimpleCrypt crypt(Key);
    // The random first byte changes every later byte; collect a few to avoid a chance repeat.
    QSet<QByteArray> ciphers;
    for (int i = 0; i < 8; ++i)
        ciphers.insert(crypt.encryptToByteArray(Token));
    QVERIFY(ciphers.size() > 1);
}

// Only the parameterless constructor leaves the cipher without a key; key 0 is a key.
void TestSimpleCrypt::withoutAKey()
{
    SimpleCrypt crypt;
    QTest::ignoreMessage(QtWarningMsg, "No key set.");
    QCOMPARE(crypt.encryptToByteArray(QByteArray("x")), QByteArray());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherNoKey);
    QTest::ignoreMessage(QtWarningMsg, "No key set.");
    QCOMPARE(crypt.decryptToString(QStringLiteral("AwKdUPs=")), QString());
    QCOMPARE(crypt.lastStatus(), SimpleCrypt::CipherNoKey);

    crypt.setKey(0);
    QCOMPARE(crypt.decryptToString(QStringLiteral("AwJyW6/VsMKtjeaD+g==")),
             QStringLiteral("zero key"));
}

QTEST_GUILESS_MAIN(TestSimpleCrypt)
#include "tst_simplecrypt.moc"
