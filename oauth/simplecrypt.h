// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef SIMPLECRYPT_H
#define SIMPLECRYPT_H

#include <QByteArray>
#include <QList>
#include <QRandomGenerator>
#include <QString>

// A small symmetric cipher that keeps stored tokens unreadable. It obfuscates; it does not
// protect against a determined reader. The cipher-text format is fixed: tokens written by one
// build must stay readable by the next.
class SimpleCrypt
{
public:
    enum CompressionPolicy { CompressIfSmaller = 0, CompressAlways = 1, CompressNever = 2 };
    enum IntegrityPolicy { IntegrityOff = 0, IntegrityCrc16 = 1, IntegritySha1 = 2 };
    enum CipherStatus {
        CipherOk = 0,
        CipherNoKey = 1,
        CipherBadFormat = 2,
        CipherIntegrityMismatch = 3
    };
    enum CipherFlag { FlagCompressed = 0x01, FlagCrc16 = 0x02, FlagSha1 = 0x04 };

    SimpleCrypt();
    explicit SimpleCrypt(quint64 key);

    void setKey(quint64 key);
    quint64 key() const { return m_key; }
    bool hasKey() const { return !m_keyBytes.isEmpty(); }

    void setCompressionPolicy(CompressionPolicy policy) { m_compressionPolicy = policy; }
    CompressionPolicy compressionPolicy() const { return m_compressionPolicy; }
    void setIntegrityPolicy(IntegrityPolicy policy) { m_integrityPolicy = policy; }
    IntegrityPolicy integrityPolicy() const { return m_integrityPolicy; }
    CipherStatus lastStatus() const { return m_lastStatus; }

    QByteArray encryptToByteArray(QByteArray plaintext);
    QByteArray encryptToByteArray(const QString &plaintext);
    QString encryptToString(const QString &plaintext);
    QString encryptToString(QByteArray plaintext);

    QByteArray decryptToByteArray(QByteArray cipher);
    QByteArray decryptToByteArray(const QString &cipher);
    QString decryptToString(const QString &cipher);
    QString decryptToString(QByteArray cipher);

private:
    void splitKey();
    QByteArray compress(const QByteArray &plaintext, char &flags) const;
    QByteArray integrityField(const QByteArray &payload, char &flags) const;
    bool checkIntegrity(QByteArray &body, char flags);
    void chain(QByteArray &body) const;
    void unchain(QByteArray &body) const;
    bool requireKey();

    quint64 m_key;
    QList<char> m_keyBytes;
    CompressionPolicy m_compressionPolicy;
    IntegrityPolicy m_integrityPolicy;
    CipherStatus m_lastStatus;
    QRandomGenerator m_random;
};

#endif // SIMPLECRYPT_H
