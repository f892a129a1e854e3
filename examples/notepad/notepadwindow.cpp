// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "notepadwindow.h"

#include "cloudfile.h"
#include "cloudfilechooser.h"
#include "serverinterface.h"

#include <QCloseEvent>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressDialog>

#include <limits>

namespace {
const QString TextFilter = QStringLiteral("Text files (*.txt);;All files (*)");
} // namespace

NotepadWindow::NotepadWindow(ServerInterface *provider, QWidget *parent)
    : QMainWindow(parent), m_provider(provider), m_editor(new QPlainTextEdit(this))
{
    setCentralWidget(m_editor);
    connect(m_editor->document(), &QTextDocument::modificationChanged, this,
            &QWidget::setWindowModified);

    QMenu *file = menuBar()->addMenu(tr("&File"));
    file->addAction(tr("&Open from Drive…"), QKeySequence::Open, this,
                    &NotepadWindow::openFromDrive);
    file->addAction(tr("&Save"), QKeySequence::Save, this, &NotepadWindow::save);
    file->addAction(tr("Save to Drive &As…"), QKeySequence(tr("Ctrl+Shift+S")), this,
                    &NotepadWindow::saveAs);
    file->addSeparator();
    file->addAction(tr("&Quit"), QKeySequence::Quit, this, &QWidget::close);

    setWindowIcon(m_provider->providerIcon());
    setDocumentUrl(QUrl());
    resize(640, 480);
}

NotepadWindow::~NotepadWindow() = default;

// The provider hands out a new file for each URL, and the host owns it. A null file means the
// provider cannot serve now: for Drive, the user refused or never finished the authorisation.
std::unique_ptr<CloudFile> NotepadWindow::cloudFile(const QUrl &url)
{
    std::unique_ptr<CloudFile> file(m_provider->cloudFile(url));
    if (!file)
        QMessageBox::warning(this, tr("Notepad"),
                             tr("%1 is not available: the authorisation was refused or did not "
                                "finish.")
                                     .arg(m_provider->providerName()));
    return file;
}

void NotepadWindow::openFromDrive()
{
    if (!maybeSave())
        return;
    // The chooser runs over the store of any file of the provider: its root will do.
    const std::unique_ptr<CloudFile> root = cloudFile(QUrl(QStringLiteral("gdapp:/")));
    if (!root)
        return;
    // Not the file's own getOpenFileName(): its answer to a double-click has lost the folder.
    const QUrl chosen = CloudFileChooser::getOpenFileName(root.get(), this, tr("Open from Drive"),
                                                          QString(), TextFilter);
    if (!chosen.isEmpty())
        load(chosen);
}

bool NotepadWindow::save()
{
    return m_url.isEmpty() ? saveAs() : store(m_url);
}

bool NotepadWindow::saveAs()
{
    const std::unique_ptr<CloudFile> root = cloudFile(QUrl(QStringLiteral("gdapp:/")));
    if (!root)
        return false;
    const QUrl chosen = CloudFileChooser::getSaveFileName(root.get(), this, tr("Save to Drive"),
                                                          QString(), TextFilter);
    return !chosen.isEmpty() && store(chosen);
}

bool NotepadWindow::load(const QUrl &url)
{
    const std::unique_ptr<CloudFile> file = cloudFile(url);
    if (!file)
        return false;
    // Opening for reading fetches the whole content into the file's buffer.
    const bool fetched = withProgress(file.get(), tr("Opening %1…").arg(url.toString()),
                                      [&file] { return file->open(QIODevice::ReadOnly); });
    if (!fetched) {
        showFailure(tr("%1 could not be opened.").arg(url.toString()), *file);
        return false;
    }
    m_editor->setPlainText(QString::fromUtf8(file->readAll()));
    setDocumentUrl(url);
    return true;
}

bool NotepadWindow::store(const QUrl &url)
{
    const std::unique_ptr<CloudFile> file = cloudFile(url);
    if (!file)
        return false;
    // Writes go to the buffer; one flush stores it, replacing the content of an existing file.
    file->setFlushThreshold(std::numeric_limits<qint64>::max());
    file->open(QIODevice::WriteOnly);
    file->write(m_editor->toPlainText().toUtf8());
    const bool stored = withProgress(file.get(), tr("Saving %1…").arg(url.toString()),
                                     [&file] { return file->flush(); });
    if (!stored) {
        showFailure(tr("%1 could not be saved.").arg(url.toString()), *file);
        return false;
    }
    file->close();
    setDocumentUrl(url);
    return true;
}

// Transfers run to their end inside the call, in a local event loop that keeps the window
// painted; the file reports how far they are with progress(int), which the dialog follows.
// Connect by name: the host's copy of CloudFile is not the plug-in's.
bool NotepadWindow::withProgress(CloudFile *file, const QString &label,
                                 const std::function<bool()> &transfer)
{
    QProgressDialog progress(label, QString(), 0, 100, this);
    progress.setWindowTitle(tr("Transferring - Notepad"));
    progress.setWindowModality(Qt::WindowModal);
    // An upload reaches 100% when its last bytes leave, before the service has answered: the
    // dialog stays up until the call returns.
    progress.setAutoReset(false);
    progress.setAutoClose(false);
    // Shown when a transfer takes longer than half a second: a small file never flickers one.
    progress.setMinimumDuration(500);
    // No Cancel button: abort() only announces operationAborted(), a running request goes on.
    progress.setCancelButton(nullptr);
    // Queued: a modal progress dialog handles events inside setValue(), which must not happen
    // inside the signal of the network reply that reports the progress (the upload stalls).
    connect(file, SIGNAL(progress(int)), &progress, SLOT(setValue(int)), Qt::QueuedConnection);
    return transfer();
}

void NotepadWindow::showFailure(const QString &what, const CloudFile &file)
{
    QMessageBox::critical(
            this, tr("Notepad"),
            tr("%1\n%2 (error %3)").arg(what, file.errorString()).arg(file.errorCode()));
}

bool NotepadWindow::maybeSave()
{
    if (!m_editor->document()->isModified())
        return true;
    const auto answer = QMessageBox::warning(
            this, tr("Notepad"), tr("The document has unsaved changes. Save them?"),
            QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
    if (answer == QMessageBox::Save)
        return save();
    return answer == QMessageBox::Discard;
}

void NotepadWindow::setDocumentUrl(const QUrl &url)
{
    m_url = url;
    m_editor->document()->setModified(false);
    // "[*]" is where Qt shows the modified mark.
    setWindowTitle(tr("%1[*] - Notepad").arg(url.isEmpty() ? tr("Untitled") : url.toString()));
}

void NotepadWindow::closeEvent(QCloseEvent *event)
{
    if (maybeSave())
        event->accept();
    else
        event->ignore();
}
