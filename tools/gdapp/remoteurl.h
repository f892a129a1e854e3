// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef REMOTEURL_H
#define REMOTEURL_H

#include <QString>
#include <QUrl>

// A gdapp: URL as users type it and as gdapp prints it, and the rules on the names in it.
//
// Syntax: "gdapp:" and a path that begins with "/"; no host, query or fragment. "%XX" is an
// escaped byte of UTF-8, any other character (a space, a lone "%") stands for itself, so what
// toString() prints is read back as the same path. A trailing "/" names a folder.
//
// Names: the plug-in writes each name as it is into its lookup query, which the service reads
// as a form: there "+" is a space, "%XX" the character it escapes, "'" the end of the name and
// "\" an escape of the next character. A file stored under such a name could not be found again,
// and a lookup of it could find another entry; so names with them are refused, as are empty
// names and those that read as something else in a path (".", "..").
class RemoteUrl
{
public:
    enum Problem {
        NoProblem,
        NotAUrl, // a usage error
        RefusedName, // a URL, but a name in it that the plug-in could not find again
    };

    static RemoteUrl fromUserInput(const QString &text);
    // Why the plug-in could not work with this name, or an empty string.
    static QString nameRefusal(const QString &name);
    // How gdapp prints a URL: a form that fromUserInput() reads back as the same path.
    static QString display(const QUrl &url);
    // A name on one line: its control characters escaped as in C ("\n", "\t", "\x1b"), and the
    // backslash too, so that what is shown reads back one way only.
    static QString printable(const QString &name);

    Problem problem() const { return m_problem; }
    bool isValid() const { return m_problem == NoProblem; }
    // Why it is not valid, the text typed included.
    QString errorString() const { return m_error; }

    // For the plug-in: the path without its trailing slash.
    QUrl url() const { return m_url; }
    QString toString() const { return display(m_url); }
    bool isTop() const { return m_path == QLatin1String("/"); }
    // Written with a trailing slash (or the top folder): names a folder, not a file.
    bool namesFolder() const { return m_namesFolder; }
    QString name() const;
    // The folder that holds it ("/" for an entry of the top folder).
    QString folderPath() const;
    QString path() const { return m_path; }
    // The entry called name in this folder; refused like any name in a typed URL.
    RemoteUrl child(const QString &name) const;
    // The entry called name in the folder that holds this one.
    RemoteUrl sibling(const QString &name) const;

private:
    static RemoteUrl fromPath(const QString &path, bool namesFolder);
    static RemoteUrl failure(Problem problem, const QString &error);

    Problem m_problem = NoProblem;
    QString m_error;
    QString m_path; // decoded, "/" for the top folder
    bool m_namesFolder = false;
    QUrl m_url;
};

#endif // REMOTEURL_H
