// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "remoteurl.h"

#include <QStringDecoder>
#include <QStringList>

namespace {
const QString Prefix = QStringLiteral("gdapp:");

bool isHexDigit(QChar c)
{
    return (c >= QLatin1Char('0') && c <= QLatin1Char('9'))
            || (c.toLower() >= QLatin1Char('a') && c.toLower() <= QLatin1Char('f'));
}

bool isEscapeAt(const QString &text, qsizetype i)
{
    return text.at(i) == QLatin1Char('%') && i + 2 < text.size() && isHexDigit(text.at(i + 1))
            && isHexDigit(text.at(i + 2));
}

// The first "%XX" in text, or an empty string.
QString firstEscape(const QString &text)
{
    for (qsizetype i = 0; i + 2 < text.size(); ++i) {
        if (isEscapeAt(text, i))
            return text.mid(i, 3);
    }
    return QString();
}

// "%XX" decoded, everything else as it is; false when the bytes are not UTF-8.
bool decode(const QString &segment, QString *name)
{
    QByteArray bytes;
    qsizetype plain = 0; // where the text since the last escape begins
    for (qsizetype i = 0; i < segment.size(); ++i) {
        if (!isEscapeAt(segment, i))
            continue;
        bytes += segment.mid(plain, i - plain).toUtf8();
        bytes += char(segment.mid(i + 1, 2).toUInt(nullptr, 16));
        i += 2;
        plain = i + 1;
    }
    bytes += segment.mid(plain).toUtf8();
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    *name = utf8(bytes);
    return !utf8.hasError();
}
} // namespace

RemoteUrl RemoteUrl::failure(Problem problem, const QString &error)
{
    RemoteUrl url;
    url.m_problem = problem;
    url.m_error = error;
    return url;
}

RemoteUrl RemoteUrl::fromPath(const QString &path, bool namesFolder)
{
    RemoteUrl remote;
    remote.m_path = path;
    remote.m_namesFolder = namesFolder || path == QLatin1String("/");
    remote.m_url.setScheme(Prefix.chopped(1));
    remote.m_url.setPath(path, QUrl::DecodedMode);
    return remote;
}

RemoteUrl RemoteUrl::fromUserInput(const QString &text)
{
    if (!text.startsWith(Prefix, Qt::CaseInsensitive))
        return failure(NotAUrl, QStringLiteral("\"%1\" is not a gdapp:/path URL").arg(text));
    const auto notAUrl = [&text](const QString &why) {
        return failure(NotAUrl,
                       QStringLiteral("\"%1\" is not a gdapp:/path URL: %2").arg(text, why));
    };
    const QString rest = text.mid(Prefix.size());
    if (rest.startsWith(QLatin1String("//")))
        return notAUrl(QStringLiteral("gdapp: URLs name no host"));
    if (!rest.isEmpty() && !rest.startsWith(QLatin1Char('/')))
        return notAUrl(QStringLiteral("the path begins with /"));
    if (rest.contains(QLatin1Char('?')))
        return notAUrl(QStringLiteral("\"?\" would begin a query; write %3F for it in a name"));
    if (rest.contains(QLatin1Char('#')))
        return notAUrl(QStringLiteral("\"#\" would begin a fragment; write %23 for it in a name"));

    QStringList segments = rest.split(QLatin1Char('/'));
    segments.removeFirst(); // what comes before the leading slash
    const bool namesFolder = segments.isEmpty() || segments.last().isEmpty();
    if (!segments.isEmpty() && segments.last().isEmpty())
        segments.removeLast();
    QStringList names;
    for (const QString &segment : std::as_const(segments)) {
        QString name;
        if (!decode(segment, &name))
            return notAUrl(QStringLiteral("\"%1\" is not UTF-8 once decoded").arg(segment));
        const QString refusal = nameRefusal(name);
        if (!refusal.isEmpty())
            return failure(RefusedName, QStringLiteral("%1: %2").arg(text, refusal));
        names.append(name);
    }
    return fromPath(QLatin1Char('/') + names.join(QLatin1Char('/')), namesFolder);
}

QString RemoteUrl::nameRefusal(const QString &name)
{
    if (name.isEmpty())
        return QStringLiteral("a name cannot be empty");
    if (name == QLatin1String(".") || name == QLatin1String(".."))
        return QStringLiteral("\"%1\" cannot be a name: in a path it reads as %2")
                .arg(name,
                     name.size() == 1 ? QStringLiteral("this folder")
                                      : QStringLiteral("the folder above"));
    if (name.contains(QLatin1Char('/')))
        return QStringLiteral("\"/\" cannot be part of a name: the plug-in reads it as a folder "
                              "separator");
    QString misread;
    if (name.contains(QLatin1Char('\'')))
        misread = QStringLiteral("take \"'\" for the end of the name");
    else if (name.contains(QLatin1Char('+')))
        misread = QStringLiteral("send \"+\" as a space");
    else if (name.contains(QLatin1Char('\\')))
        misread = QStringLiteral("send \"\\\" as an escape of the next character");
    else if (const QString escape = firstEscape(name); !escape.isEmpty())
        misread = QStringLiteral("send \"%1\" as the character it escapes").arg(escape);
    if (misread.isEmpty())
        return QString();
    return QStringLiteral("refused name \"%1\": the plug-in's lookups %2, so the service could "
                          "not find it again")
            .arg(printable(name), misread);
}

QString RemoteUrl::printable(const QString &name)
{
    QString shown;
    shown.reserve(name.size());
    for (const QChar c : name) {
        if (c == QLatin1Char('\\'))
            shown += QLatin1String("\\\\");
        else if (c == QLatin1Char('\n'))
            shown += QLatin1String("\\n");
        else if (c == QLatin1Char('\t'))
            shown += QLatin1String("\\t");
        else if (c == QLatin1Char('\r'))
            shown += QLatin1String("\\r");
        else if (c.category() == QChar::Other_Control)
            shown += QStringLiteral("\\x%1").arg(uint(c.unicode()), 2, 16, QLatin1Char('0'));
        else
            shown += c;
    }
    return shown;
}

QString RemoteUrl::display(const QUrl &url)
{
    return url.toString();
}

QString RemoteUrl::name() const
{
    return m_path.section(QLatin1Char('/'), -1);
}

QString RemoteUrl::folderPath() const
{
    const QString folder = m_path.section(QLatin1Char('/'), 0, -2);
    return folder.isEmpty() ? QStringLiteral("/") : folder;
}

RemoteUrl RemoteUrl::child(const QString &name) const
{
    const QString path = (isTop() ? QString() : m_path) + QLatin1Char('/') + name;
    const QString refusal = nameRefusal(name);
    if (!refusal.isEmpty())
        return failure(RefusedName, QStringLiteral("%1%2: %3").arg(Prefix, path, refusal));
    return fromPath(path, false);
}

RemoteUrl RemoteUrl::sibling(const QString &name) const
{
    return fromPath(folderPath(), true).child(name);
}
