// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "cloudfiledialog.h"

#include "cloudfile.h"
#include "explorermodel.h"

#include <QAction>
#include <QHeaderView>
#include <QInputDialog>
#include <QMenu>
#include <QMessageBox>
#include <QRegularExpression>

const char *file_dialog_filter_reg_exp =
        "([a-zA-Z0-9]*)\\(([a-zA-Z0-9_.*? +;#\\-\\[\\]@\\{\\}/!<>\\$%&=^~:\\|]*)\\)$";

namespace {
CloudObject *objectAt(const QModelIndex &index)
{
    return index.data(Qt::UserRole).value<CloudObject *>();
}
} // namespace

QUrl CloudFile::getOpenFileName(QWidget *, const QString &caption, const QString &,
                                const QString &filter)
{
    // A top-level window whatever the caller passes as parent.
    CloudFileDialog dialog(filter, false, this, nullptr, Qt::WindowFlags());
    dialog.setWindowTitle(caption);
    return dialog.exec() == QDialog::Accepted ? dialog.selectedFile() : QUrl();
}

QUrl CloudFile::getSaveFileName(QWidget *, const QString &caption, const QString &,
                                const QString &filter)
{
    CloudFileDialog dialog(filter, true, this, nullptr, Qt::WindowFlags());
    dialog.setWindowTitle(caption);
    return dialog.exec() == QDialog::Accepted ? dialog.selectedFile() : QUrl();
}

CloudFileDialog::CloudFileDialog(QString filter, bool save, CloudFile *file, QWidget *parent,
                                 Qt::WindowFlags flags)
    : QDialog(parent, flags),
      m_file(file),
      m_current(nullptr),
      m_model(nullptr),
      m_filter(filter),
      m_save(save),
      m_removeAction(nullptr)
{
    // Contract: hosts find the chooser by its class name and its widgets by the object names of
    // the layout; the label path shows the folder browsed, and a double-click leaves it so.
    setupUi(this);

    m_model = new ExplorerModel(nullptr);
    m_proxy.setDynamicSortFilter(true);
    m_proxy.setSourceModel(m_model);

    folderNewBtn->setVisible(m_save);
    nameEdit->setReadOnly(!m_save);
    addExtension->setEnabled(m_save);
    addExtension->setChecked(true);

    treeView->setModel(&m_proxy);
    treeView->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    treeView->setRootIsDecorated(false);
    // The header starts on column 0, descending; the proxy's comparison counts on it.
    treeView->setSortingEnabled(true);
    treeView->setExpandsOnDoubleClick(false);
    treeView->setFocus(Qt::OtherFocusReason);
    treeView->setContextMenuPolicy(Qt::CustomContextMenu);

    showHiddenFiles->setChecked(false);
    path->setText(QStringLiteral("/"));

    QStringList filters = makeFiltersList(filter);
    filterCombo->addItems(filters);
    if (filters.isEmpty())
        filters.append(QStringLiteral("*"));
    m_proxy.setFilterList(cleanFilterList(filters.first()));

    //: The one entry of the context menu of the list: removes the file or folder under the cursor.
    m_removeAction =
            new QAction(QIcon::fromTheme(QStringLiteral("list-remove")), tr("&Supprimer"), this);

    connect(m_removeAction, SIGNAL(triggered()), this, SLOT(slotRmDir()));
    // Contract: Qt 6's combo box has no such signal; the connection is refused and the filter stays
    // what the first entry gave. Hosts have always seen it so.
    connect(filterCombo, SIGNAL(currentIndexChanged(const QString &)), this,
            SLOT(onFilterChanged(const QString &)));
    connect(cdToParent, SIGNAL(clicked()), this, SLOT(onCdUp()));
    connect(showHiddenFiles, SIGNAL(toggled(bool)), &m_proxy, SLOT(setShowHiddenFiles(bool)));
    connect(refreshView, SIGNAL(clicked()), this, SLOT(onViewRefresh()));
    connect(treeView, SIGNAL(doubleClicked(const QModelIndex &)), this,
            SLOT(onDoubleClicked(const QModelIndex &)));
    connect(treeView, SIGNAL(clicked(const QModelIndex &)), this,
            SLOT(onClicked(const QModelIndex &)));
    connect(treeView, SIGNAL(customContextMenuRequested(const QPoint &)), this,
            SLOT(slotContextMenu(const QPoint &)));
    connect(m_file, SIGNAL(objectList(QList<CloudObject *>)), m_model,
            SLOT(onUpdateObjects(QList<CloudObject *>)));
    connect(folderNewBtn, SIGNAL(clicked()), this, SLOT(onMkDir()));

    m_current = m_file->getCloudObject();
    m_file->listObjects(m_current);
}

CloudFileDialog::~CloudFileDialog()
{
    delete m_model;
    delete m_current;
}

QUrl CloudFileDialog::selectedFile()
{
    return m_selectedFile;
}

QStringList CloudFileDialog::makeFiltersList(const QString &filter)
{
    if (filter.isEmpty())
        return QStringList();
    QString separator = QStringLiteral(";;");
    if (!filter.contains(separator) && filter.contains(QLatin1Char('\n')))
        separator = QStringLiteral("\n");
    return filter.split(separator, Qt::KeepEmptyParts, Qt::CaseSensitive);
}

QStringList CloudFileDialog::cleanFilterList(const QString &filter)
{
    const QRegularExpression expression(QString::fromLatin1(file_dialog_filter_reg_exp));
    const QRegularExpressionMatch match = expression.match(filter);
    const QString patterns = match.hasMatch() ? match.captured(2) : filter;
    return patterns.split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

void CloudFileDialog::onViewRefresh()
{
    m_file->listObjects(m_current);
    path->setText(m_current->fullPath());
}

void CloudFileDialog::onCdUp()
{
    m_current->cdup();
    path->setText(m_current->fullPath());
    m_file->listObjects(m_current);
}

void CloudFileDialog::onClicked(const QModelIndex &index)
{
    const QSignalBlocker blocker(treeView);
    CloudObject *object = objectAt(index);
    if (object->isFolder()) {
        // One click enters a folder.
        m_current->cd(object);
        path->setText(m_current->fullPath());
        m_file->listObjects(m_current);
    } else {
        nameEdit->setText(object->fileName());
    }
}

void CloudFileDialog::onDoubleClicked(const QModelIndex &index)
{
    const QSignalBlocker blocker(treeView);
    CloudObject *object = objectAt(index);
    if (object->isFolder())
        return; // the click before it entered the folder already
    nameEdit->setText(object->fileName());
    // Contract: the current object becomes the file, so the chosen path names the file twice; hosts
    // have always received it so.
    *m_current = *object;
    accept();
}

void CloudFileDialog::onFilterChanged(const QString &text)
{
    m_proxy.setFilterList(cleanFilterList(text));
}

void CloudFileDialog::onMkDir()
{
    bool ok = false;
    //: Both the title of the prompt for a new folder's name and the name it proposes.
    const QString title = tr("Nouveau répertoire");
    const QString name = QInputDialog::getText(this, title, tr("Nom du répertoire à créer"),
                                               QLineEdit::Normal, title, &ok);
    if (!ok || name.isEmpty())
        return;
    if (m_file->mkdir(m_current, name)) {
        onViewRefresh();
        return;
    }
    QMessageBox::critical(this, tr("Création d'un nouveau répertoire"),
                          // Contract: spelt so; translations are keyed on it.
                          //: %1 is the name typed, %2 the service's error text.
                          tr("Le répertoire %1 n'a pas étét crée.\nErreur: '%2'")
                                  .arg(name, m_file->errorString()),
                          QMessageBox::Ok);
}

void CloudFileDialog::accept()
{
    QString name = nameEdit->text();
    if (name.isEmpty())
        return;

    if (m_save && addExtension->isChecked()) {
        QString extension = m_proxy.filterList().value(0);
        if (extension.startsWith(QLatin1Char('*')))
            extension.remove(0, 1);
        if (!name.endsWith(extension))
            name += extension;
    }

    QString filePath = m_current->fullPath();
    if (!filePath.endsWith(QLatin1Char('/')))
        filePath += QLatin1Char('/');
    filePath += name;
    m_selectedFile.setScheme(m_file->scheme());
    // Refused by QUrl, so the URL has no host and reads "scheme:/path"; setting the path clears
    // the error. Some Qt versions keep an empty authority after the refusal: drop it too.
    m_selectedFile.setHost(QStringLiteral("/"), QUrl::DecodedMode);
    m_selectedFile.setAuthority(QString());
    m_selectedFile.setPath(filePath, QUrl::DecodedMode);
    QDialog::accept();
}

void CloudFileDialog::slotContextMenu(const QPoint &point)
{
    if (!treeView->indexAt(point).isValid())
        return;
    auto *menu = new QMenu;
    menu->addAction(m_removeAction);
    menu->exec(treeView->mapToGlobal(point));
}

void CloudFileDialog::slotRmDir()
{
    const QModelIndex index = treeView->currentIndex();
    if (!index.isValid())
        return;
    CloudObject *object = objectAt(index);
    const QString title = tr("Suppression d'un fichier ou d'un répertoire");
    // Contract: the trailing space stays, and with it the double space of the sentence.
    //: %1 of the question "Le %1 %2 va être supprimés". Keep a trailing space: hosts have always
    //: shown the sentence with two spaces after this word.
    const QString folder = tr("répertoire ");
    //: %1 of the question "Le %1 %2 va être supprimés".
    const QString file = tr("fichier");
    const QString kind = object->isFolder() ? folder : file;
    const QMessageBox::StandardButton answer = QMessageBox::warning(
            this, title,
            //: %1 is "répertoire " or "fichier", %2 the path of what is removed.
            tr("Le %1 %2 va être supprimés\nEtes vous sûr?").arg(kind, object->fullPath()),
            QMessageBox::Yes | QMessageBox::No, QMessageBox::No);
    if (answer == QMessageBox::No)
        return;
    if (m_file->remove(object)) {
        m_file->listObjects(m_current);
        return;
    }
    QMessageBox::warning(this, title,
                         //: %1 is the path of what was to be removed, %2 the service's error text.
                         tr("Le fichier ou le répertoire %1 n'a pas pu être supprimé.\nErreur: %2")
                                 .arg(object->fullPath(), m_file->errorString()),
                         QMessageBox::Ok);
}
