// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

// The chooser's filter strings: entries split on ";;" or new lines, patterns out of each entry.
#include "cloudfiledialog.h"
#include "memorycloudfile.h"

#include <QApplication>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int argc = 1;
    static char name[] = "fuzz_filters";
    static char *argv[] = { name, nullptr };
    static QApplication *application = [] {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        return new QApplication(argc, argv);
    }();
    static MemoryCloudFile file(QSharedPointer<MemoryStore>::create(),
                                QUrl(QStringLiteral("memory:/")));
    static CloudFileDialog *dialog =
            new CloudFileDialog(QString(), false, &file, nullptr, Qt::WindowFlags());
    Q_UNUSED(application);

    const QString filter = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    for (const QString &entry : dialog->makeFiltersList(filter))
        dialog->cleanFilterList(entry);
    dialog->cleanFilterList(filter);
    return 0;
}
