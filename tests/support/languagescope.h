// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef LANGUAGESCOPE_H
#define LANGUAGESCOPE_H

#include <QLocale>
#include <QTranslator>

// The plug-in's texts in one language for as long as it lives, as a host shows them to its user:
// the build's catalogue for the language installed, and the default locale set to it for
// numbers. "fr", the source language, has a catalogue too, with nothing in it.
//     const LanguageScope german(QStringLiteral("de"));
//     QVERIFY(german.isLoaded());
class LanguageScope
{
public:
    explicit LanguageScope(const QString &language);
    ~LanguageScope();
    Q_DISABLE_COPY(LanguageScope)

    bool isLoaded() const { return !m_translator.filePath().isEmpty(); }

private:
    QTranslator m_translator;
    QLocale m_previous;
};

#endif // LANGUAGESCOPE_H
