// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef CHOSENFILE_H
#define CHOSENFILE_H

#include <QUrl>

class CloudFile;

// What the chooser's answer names. A double-clicked file comes named twice, gdapp:/Docs/a.txt as
// gdapp:/Docs/a.txt/a.txt, as hosts have always received it; a click and OK name it once. So a
// path whose last two names are the same names the file without the last one when the store
// has such a file; otherwise (a file a.txt in a folder a.txt, or a new name) it stands as it is.
class ChosenFile
{
public:
    // store: a file of the provider whose chooser answered, for the one lookup this may take.
    static QUrl resolve(CloudFile *store, const QUrl &chosen);
};

#endif // CHOSENFILE_H
