// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "languagescope.h"

#include <QCoreApplication>

LanguageScope::LanguageScope(const QString &language)
{
    const QLocale locale(language);
    if (m_translator.load(locale, QStringLiteral("gdapp"), QStringLiteral("_"),
                          QStringLiteral(GDAPP_TRANSLATIONS_DIR)))
        QCoreApplication::installTranslator(&m_translator);
    QLocale::setDefault(locale);
}

LanguageScope::~LanguageScope()
{
    QCoreApplication::removeTranslator(&m_translator);
    QLocale::setDefault(m_previous);
}
