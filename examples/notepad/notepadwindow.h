// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef NOTEPADWINDOW_H
#define NOTEPADWINDOW_H

#include <QMainWindow>
#include <QUrl>

#include <functional>
#include <memory>

class CloudFile;
class QPlainTextEdit;
class ServerInterface;

// A text editor whose documents live in the storage provider: File ▸ Open from Drive…, Save,
// Save to Drive As… and Quit. It holds the provider; each operation asks it for a cloud file of
// its own and deletes that file when done.
class NotepadWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit NotepadWindow(ServerInterface *provider, QWidget *parent = nullptr);
    ~NotepadWindow() override;

protected:
    void closeEvent(QCloseEvent *event) override;

private slots:
    void openFromDrive();
    bool save();
    bool saveAs();

private:
    std::unique_ptr<CloudFile> cloudFile(const QUrl &url);
    bool load(const QUrl &url);
    bool store(const QUrl &url);
    bool withProgress(CloudFile *file, const QString &label, const std::function<bool()> &transfer);
    void showFailure(const QString &what, const CloudFile &file);
    bool maybeSave();
    void setDocumentUrl(const QUrl &url);

    ServerInterface *m_provider;
    QPlainTextEdit *m_editor;
    QUrl m_url;
};

#endif // NOTEPADWINDOW_H
