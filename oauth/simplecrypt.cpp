// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "simplecrypt.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QtEndian>
#include <QtDebug>

namespace {
constexpr char Version = 0x03;
constexpr int Crc16Size = 2;
constexpr int Sha1Size = 20;
constexpr int CompressionLevel = 9;

QByteArray sha1(const QByteArray &data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Sha1);
}

quint16 crc16(const QByteArray &data)
{
    return qChecksum(QByteArrayView(data), Qt::ChecksumIso3309);
}

// qCompress's format: the plaintext's length, 4 bytes big-endian, then the zlib stream. Deflate
// makes at most 1032 bytes of each byte it reads, so a longer claim can only come from a damaged
// value; it is refused before qUncompress reserves what it claims, up to 4 GiB. A refusal looks
// like any other failed decompression: nothing.
QByteArray uncompress(const QByteArray &payload)
{
    constexpr qsizetype LengthSize = 4;
    constexpr quint64 MaxExpansion = 1032;
    if (payload.size() > LengthSize
        && qFromBigEndian<quint32>(payload.constData())
                > MaxExpansion * quint64(payload.size() - LengthSize))
        return QByteArray();
    return qUncompress(payload);
}
} // namespace

SimpleCrypt::SimpleCrypt()
    : m_key(0),
      m_compressionPolicy(CompressIfSmaller),
      m_integrityPolicy(IntegrityCrc16),
      m_lastStatus(CipherOk),
      m_random(1)
{
    m_random.seed(quint32(QDateTime::currentMSecsSinceEpoch() & 0xFFFFFFFF));
}

SimpleCrypt::SimpleCrypt(quint64 key) : SimpleCrypt()
{
    m_key = key;
    splitKey();
}

void SimpleCrypt::setKey(quint64 key)
{
    m_key = key;
    splitKey();
}

void SimpleCrypt::splitKey()
{
    m_keyBytes.clear();
    for (int i = 0; i < 8; ++i)
        m_keyBytes.append(char(m_key >> (8 * i)));
}

bool SimpleCrypt::requireKey()
{
    if (!m_keyBytes.isEmpty())
        return true;
    qWarning() << "No key set.";
    m_lastStatus = CipherNoKey;
    return false;
}

QByteArray SimpleCrypt::compress(const QByteArray &plaintext, char &flags) const
{
    switch (m_compressionPolicy) {
    case CompressAlways:
        flags |= FlagCompressed;
        return qCompress(plaintext, CompressionLevel);
    case CompressIfSmaller: {
        QByteArray compressed = qCompress(plaintext, CompressionLevel);
        if (compressed.size() < plaintext.size()) {
            flags |= FlagCompressed;
            return compressed;
        }
        return plaintext;
    }
    case CompressNever:
        break;
    }
    return plaintext;
}

QByteArray SimpleCrypt::integrityField(const QByteArray &payload, char &flags) const
{
    switch (m_integrityPolicy) {
    case IntegrityCrc16: {
        flags |= FlagCrc16;
        const quint16 crc = crc16(payload);
        QByteArray field(Crc16Size, Qt::Uninitialized);
        field[0] = char(crc >> 8);
        field[1] = char(crc & 0xFF);
        return field;
    }
    case IntegritySha1:
        flags |= FlagSha1;
        return sha1(payload);
    case IntegrityOff:
        break;
    }
    return QByteArray();
}

// Each byte is mixed with a key byte and with the cipher byte before it, so the random first
// byte changes every byte that follows.
void SimpleCrypt::chain(QByteArray &body) const
{
    char previous = 0;
    for (qsizetype i = 0; i < body.size(); ++i) {
        body[i] = char(body.at(i) ^ m_keyBytes.at(i % 8) ^ previous);
        previous = body.at(i);
    }
}

void SimpleCrypt::unchain(QByteArray &body) const
{
    char previous = 0;
    for (qsizetype i = 0; i < body.size(); ++i) {
        const char cipher = body.at(i);
        body[i] = char(cipher ^ previous ^ m_keyBytes.at(i % 8));
        previous = cipher;
    }
}

QByteArray SimpleCrypt::encryptToByteArray(QByteArray plaintext)
{
    if (!requireKey())
        return QByteArray();

    char flags = 0;
    const QByteArray payload = compress(plaintext, flags);
    const QByteArray field = integrityField(payload, flags);

    QByteArray body;
    body.reserve(1 + field.size() + payload.size());
    body.append(char(m_random.generate() & 0xFF));
    body.append(field);
    body.append(payload);
    chain(body);

    QByteArray cipher;
    cipher.reserve(2 + body.size());
    cipher.append(Version);
    cipher.append(flags);
    cipher.append(body);
    m_lastStatus = CipherOk;
    return cipher;
}

QByteArray SimpleCrypt::encryptToByteArray(const QString &plaintext)
{
    return encryptToByteArray(plaintext.toUtf8());
}

QString SimpleCrypt::encryptToString(const QString &plaintext)
{
    return encryptToString(plaintext.toUtf8());
}

QString SimpleCrypt::encryptToString(QByteArray plaintext)
{
    return QString::fromLatin1(encryptToByteArray(plaintext).toBase64());
}

// Takes the integrity field off the front of body and checks it. Contract: when both flags are
// set the CRC wins.
bool SimpleCrypt::checkIntegrity(QByteArray &body, char flags)
{
    if (flags & FlagCrc16) {
        if (body.size() < Crc16Size)
            return false;
        const quint16 stored = quint16((uchar(body.at(0)) << 8) | uchar(body.at(1)));
        body.remove(0, Crc16Size);
        return crc16(body) == stored;
    }
    if (flags & FlagSha1) {
        if (body.size() < Sha1Size)
            return false;
        const QByteArray stored = body.left(Sha1Size);
        body.remove(0, Sha1Size);
        return sha1(body) == stored;
    }
    return true;
}

QByteArray SimpleCrypt::decryptToByteArray(QByteArray cipher)
{
    if (!requireKey())
        return QByteArray();
    if (cipher.isEmpty()) {
        m_lastStatus = CipherBadFormat;
        return QByteArray();
    }
    if (cipher.at(0) != Version) {
        qWarning() << "Invalid version or not a cyphertext."; // Contract: spelt so
        m_lastStatus = CipherBadFormat;
        return QByteArray();
    }

    const char flags = cipher.size() > 1 ? cipher.at(1) : char(0);
    QByteArray body = cipher.mid(2);
    unchain(body);
    body.remove(0, 1); // the random byte

    if (!checkIntegrity(body, flags)) {
        m_lastStatus = CipherIntegrityMismatch;
        return QByteArray();
    }
    if (flags & FlagCompressed)
        body = uncompress(body);

    m_lastStatus = CipherOk;
    return body;
}

QByteArray SimpleCrypt::decryptToByteArray(const QString &cipher)
{
    return decryptToByteArray(QByteArray::fromBase64(cipher.toLatin1()));
}

QString SimpleCrypt::decryptToString(const QString &cipher)
{
    return QString::fromUtf8(decryptToByteArray(cipher));
}

// Contract: raw cipher bytes in, unlike encryptToString(QByteArray), which gives base64 text:
// the two byte-array forms are not inverse to each other.
QString SimpleCrypt::decryptToString(QByteArray cipher)
{
    return QString::fromUtf8(decryptToByteArray(cipher));
}
