// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "chooserdriving.h"
#include "cloudfiledialog.h"
#include "consentbrowser.h"
#include "emulatorprocess.h"
#include "googlefile.h"
#include "languagescope.h"
#include "memorycloudfile.h"
#include "oauthgoogle.h"
#include "testsettings.h"

#include <QCheckBox>
#include <QComboBox>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QToolButton>
#include <QTreeView>
#include <QtTest>

namespace {
// Whether the button's icon, at the size the button shows it, paints anything.
bool paintsItsIcon(const QToolButton *button)
{
    const QImage image = button->icon().pixmap(button->iconSize()).toImage();
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(image.pixel(x, y)) > 0)
                return true;
        }
    }
    return false;
}

// The names the view shows, folders marked with a trailing slash.
QStringList shown(QWidget *dialog)
{
    QStringList names;
    const QAbstractItemModel *model = treeOf(dialog)->model();
    for (int row = 0; row < model->rowCount(); ++row) {
        const auto *object = model->index(row, 0).data(Qt::UserRole).value<CloudObject *>();
        names.append(object->fileName() + (object->isFolder() ? QStringLiteral("/") : QString()));
    }
    return names;
}

// The box's text, and a click on one of its buttons.
void answerBox(QString *text, QMessageBox::StandardButton button, QString *title = nullptr)
{
    whenShown<QMessageBox>([=](QMessageBox *box) {
        *text = box->text();
        if (title)
            *title = box->windowTitle();
        box->button(button)->click();
    });
}

// Opens the dialog's context menu on a row and chooses its only action.
void removeThroughTheMenu(CloudFileDialog *dialog, const QString &name, QString *menuText)
{
    QTreeView *tree = treeOf(dialog);
    tree->setCurrentIndex(rowNamed(dialog, name));
    whenShown<QMenu>([menuText](QMenu *menu) {
        *menuText = menu->actions().value(0)->text();
        menu->actions().value(0)->trigger();
        menu->close();
    });
    dialog->slotContextMenu(tree->visualRect(rowNamed(dialog, name)).center());
}
} // namespace

class TestCloudFileDialog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void makeFiltersList_data();
    void makeFiltersList();
    void cleanFilterList_data();
    void cleanFilterList();

    void modes_data();
    void modes();
    void navigationIconsComeWithTheFramework();
    void entriesShown_data();
    void entriesShown();
    void comboChangesDoNotReachTheProxy();

    void okWithAnEmptyNameDoesNothing();
    void doubleClickDoublesThePath();
    void folderNavigation();
    void refreshShowsNewEntries();
    void saveNames_data();
    void saveNames();
    void newFolder();
    void newFolderFailure();
    void removeThroughTheContextMenu_data();
    void removeThroughTheContextMenu();
    void removeFailure();
    void contextMenuOnlyOnRows();
    void speaksTheUsersLanguage_data();
    void speaksTheUsersLanguage();

    void overTheDriveBackEnd();

private:
    std::unique_ptr<CloudFileDialog> dialog(const QString &filter, bool save);
    QStringList textsShownIn(const QString &language); // empty if they could not all be read

    QSharedPointer<MemoryStore> m_store;
    std::unique_ptr<MemoryCloudFile> m_file;
};

void TestCloudFileDialog::initTestCase()
{
    dropChooserNoise();
    TestSettings::isolate(QStringLiteral("tst_cloudfiledialog"));
}

void TestCloudFileDialog::cleanupTestCase()
{
    QSettings().clear();
}

void TestCloudFileDialog::init()
{
    m_store.reset(new MemoryStore);
    m_store->addFolder(QStringLiteral("/docs"));
    m_store->addFile(QStringLiteral("/docs/report.txt"), "report");
    m_store->addFolder(QStringLiteral("/docs/sub"));
    m_store->addFolder(QStringLiteral("/pictures"));
    m_store->addFile(QStringLiteral("/notes.txt"), "notes");
    m_store->addFile(QStringLiteral("/data.csv"), "1,2");
    m_store->addFile(QStringLiteral("/.hidden.txt"), "h");
    m_store->addFolder(QStringLiteral("/.config"));
    m_file = std::make_unique<MemoryCloudFile>(m_store, QUrl(QStringLiteral("mem:/")));
}

void TestCloudFileDialog::cleanup()
{
    endPolling();
}

std::unique_ptr<CloudFileDialog> TestCloudFileDialog::dialog(const QString &filter, bool save)
{
    expectRefusedConnection();
    auto made = std::make_unique<CloudFileDialog>(filter, save, m_file.get(), nullptr,
                                                  Qt::WindowFlags());
    made->show();
    if (!QTest::qWaitForWindowExposed(made.get()))
        QTest::qFail("the dialog was not exposed", __FILE__, __LINE__);
    return made;
}

void TestCloudFileDialog::makeFiltersList_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QStringList>("entries");

    QTest::newRow("empty") << "" << QStringList();
    QTest::newRow("one") << "Textes (*.txt *.csv)" << QStringList { "Textes (*.txt *.csv)" };
    QTest::newRow(";;") << "Textes (*.txt);;Tout (*)"
                        << QStringList { "Textes (*.txt)", "Tout (*)" };
    QTest::newRow("newline") << "Textes (*.txt)\nTout (*)"
                             << QStringList { "Textes (*.txt)", "Tout (*)" };
    QTest::newRow(";; wins over newline") << "a (*.a)\nb;;c" << QStringList { "a (*.a)\nb", "c" };
    QTest::newRow("empty parts kept") << "a;;;;b;;" << QStringList { "a", "", "b", "" };
}

void TestCloudFileDialog::makeFiltersList()
{
    QFETCH(QString, filter);
    const auto made = dialog(QString(), false);
    QTEST(made->makeFiltersList(filter), "entries");
}

void TestCloudFileDialog::cleanFilterList_data()
{
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QStringList>("patterns");

    QTest::newRow("label and two patterns")
            << "Textes (*.txt *.csv)" << QStringList { "*.txt", "*.csv" };
    QTest::newRow("no label") << "(*.txt)" << QStringList { "*.txt" };
    QTest::newRow("label against the parenthesis")
            << "Images(*.png *.jpg)" << QStringList { "*.png", "*.jpg" };
    QTest::newRow("empty parentheses") << "Tout ()" << QStringList();
    QTest::newRow("bare pattern") << "*.txt" << QStringList { "*.txt" };
    QTest::newRow("bare patterns") << "*.txt  *.md" << QStringList { "*.txt", "*.md" };
    QTest::newRow("nothing after the parenthesis")
            << "Textes (*.txt) " << QStringList { "Textes", "(*.txt)" };
    QTest::newRow("characters of the class")
            << "X (a_b?.[ch] #{x}~)" << QStringList { "a_b?.[ch]", "#{x}~" };
    QTest::newRow("outside the class") << "X (*.t\"t)" << QStringList { "X", "(*.t\"t)" };
}

void TestCloudFileDialog::cleanFilterList()
{
    QFETCH(QString, entry);
    const auto made = dialog(QString(), false);
    QTEST(made->cleanFilterList(entry), "patterns");
}

// Opening shows the root and leaves the name to a click; saving lets the user type it, add the
// filter's extension and make folders.
void TestCloudFileDialog::modes_data()
{
    QTest::addColumn<bool>("save");
    QTest::newRow("open") << false;
    QTest::newRow("save") << true;
}

void TestCloudFileDialog::modes()
{
    QFETCH(bool, save);
    const auto made = dialog(QString(), save);
    QCOMPARE(child<QLabel>(made.get(), "path")->text(), QStringLiteral("/"));
    QCOMPARE(m_store->calls, QStringList(QStringLiteral("list /")));
    QLineEdit *name = child<QLineEdit>(made.get(), "nameEdit");
    QVERIFY(name->text().isEmpty());
    QCOMPARE(name->isReadOnly(), !save);
    QCOMPARE(child<QToolButton>(made.get(), "folderNewBtn")->isHidden(), !save);
    QCOMPARE(child<QCheckBox>(made.get(), "addExtension")->isEnabled(), save);
    QVERIFY(child<QCheckBox>(made.get(), "addExtension")->isChecked());
    QVERIFY(!child<QCheckBox>(made.get(), "showHiddenFiles")->isChecked());
    QVERIFY(made->selectedFile().isEmpty());
}

// Where the desktop's theme has no icons for them, the up and refresh buttons show those that
// hosts link with the framework.
void TestCloudFileDialog::navigationIconsComeWithTheFramework()
{
    const QStringList themes = QIcon::themeSearchPaths();
    QIcon::setThemeSearchPaths(QStringList());
    const auto made = dialog(QString(), false);
    QIcon::setThemeSearchPaths(themes);
    for (const char *name : { "cdToParent", "refreshView" })
        QVERIFY2(paintsItsIcon(child<QToolButton>(made.get(), name)), name);
}

// Folders first, then files, each by name; hidden entries only when asked; files through the
// first filter.
void TestCloudFileDialog::entriesShown_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<bool>("hidden");
    QTest::addColumn<QStringList>("names");

    QTest::newRow("no filter") << "" << false
                               << QStringList { "docs/", "pictures/", "data.csv", "notes.txt" };
    QTest::newRow("filtered") << "Textes (*.txt);;Tout (*)" << false
                              << QStringList { "docs/", "pictures/", "notes.txt" };
    QTest::newRow("filtered, hidden shown")
            << "Textes (*.txt)" << true
            << QStringList { ".config/", "docs/", "pictures/", ".hidden.txt", "notes.txt" };
}

void TestCloudFileDialog::entriesShown()
{
    QFETCH(QString, filter);
    QFETCH(bool, hidden);

    const auto made = dialog(filter, false);
    QCOMPARE(child<QComboBox>(made.get(), "filterCombo")->count(),
             made->makeFiltersList(filter).size());
    child<QCheckBox>(made.get(), "showHiddenFiles")->setChecked(hidden);
    QTEST(shown(made.get()), "names");
}

void TestCloudFileDialog::comboChangesDoNotReachTheProxy()
{
    const auto made = dialog(QStringLiteral("Textes (*.txt);;Tout (*)"), false);
    QComboBox *combo = child<QComboBox>(made.get(), "filterCombo");
    QCOMPARE(combo->itemText(1), QStringLiteral("Tout (*)"));
    combo->setCurrentIndex(1);
    QCOMPARE(shown(made.get()), (QStringList { "docs/", "pictures/", "notes.txt" }));
    // The slot itself works when called.
    made->onFilterChanged(QStringLiteral("Tout (*)"));
    QCOMPARE(shown(made.get()), (QStringList { "docs/", "pictures/", "data.csv", "notes.txt" }));
}

void TestCloudFileDialog::okWithAnEmptyNameDoesNothing()
{
    const auto made = dialog(QString(), false);
    clickOk(made.get());
    QVERIFY(made->isVisible());
    QCOMPARE(made->result(), 0);
    QVERIFY(made->selectedFile().isEmpty());
}

void TestCloudFileDialog::doubleClickDoublesThePath()
{
    whenShown<CloudFileDialog>([](CloudFileDialog *shownDialog) {
        QCOMPARE(shownDialog->windowTitle(), QStringLiteral("Ouvrir"));
        clickRow(shownDialog, QStringLiteral("docs"));
        doubleClickRow(shownDialog, QStringLiteral("report.txt"));
    });
    expectRefusedConnection();
    const QUrl chosen =
            m_file->getOpenFileName(nullptr, QStringLiteral("Ouvrir"), QString(), QString());
    QCOMPARE(chosen.toString(), QStringLiteral("mem:/docs/report.txt/report.txt"));
}

void TestCloudFileDialog::folderNavigation()
{
    const auto made = dialog(QString(), false);
    clickRow(made.get(), QStringLiteral("docs"));
    QCOMPARE(child<QLabel>(made.get(), "path")->text(), QStringLiteral("/docs"));
    QCOMPARE(shown(made.get()), (QStringList { "sub/", "report.txt" }));
    QCOMPARE(m_store->calls.last(), QStringLiteral("list /docs"));

    child<QToolButton>(made.get(), "cdToParent")->click();
    QCOMPARE(child<QLabel>(made.get(), "path")->text(), QStringLiteral("/"));
    QCOMPARE(m_store->calls.last(), QStringLiteral("list /"));
    QCOMPARE(shown(made.get()), (QStringList { "docs/", "pictures/", "data.csv", "notes.txt" }));
}

void TestCloudFileDialog::refreshShowsNewEntries()
{
    const auto made = dialog(QString(), false);
    m_store->addFile(QStringLiteral("/arrived.txt"), "new");
    QVERIFY(!shown(made.get()).contains(QStringLiteral("arrived.txt")));
    child<QToolButton>(made.get(), "refreshView")->click();
    QVERIFY(shown(made.get()).contains(QStringLiteral("arrived.txt")));
    QCOMPARE(child<QLabel>(made.get(), "path")->text(), QStringLiteral("/"));
}

void TestCloudFileDialog::saveNames_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<bool>("addExtension");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("url");

    QTest::newRow("extension added") << "Textes (*.txt)" << true << "rapport"
                                     << "mem:/docs/rapport.txt";
    QTest::newRow("extension present") << "Textes (*.txt)" << true << "a.txt"
                                       << "mem:/docs/a.txt";
    QTest::newRow("double extension") << "Archives (*.tar.gz)" << true << "a"
                                      << "mem:/docs/a.tar.gz";
    QTest::newRow("case counts") << "Textes (*.txt)" << true << "A.TXT"
                                 << "mem:/docs/A.TXT.txt";
    QTest::newRow("not asked") << "Textes (*.txt)" << false << "rapport"
                               << "mem:/docs/rapport";
    QTest::newRow("no filter") << "" << true << "rapport"
                               << "mem:/docs/rapport";
    QTest::newRow("empty pattern list") << "Tout ()" << true << "rapport"
                                        << "mem:/docs/rapport";
}

void TestCloudFileDialog::saveNames()
{
    QFETCH(QString, filter);
    QFETCH(bool, addExtension);
    QFETCH(QString, name);

    const auto made = dialog(filter, true);
    clickRow(made.get(), QStringLiteral("docs"));
    child<QCheckBox>(made.get(), "addExtension")->setChecked(addExtension);
    child<QLineEdit>(made.get(), "nameEdit")->setText(name);
    clickOk(made.get());
    QCOMPARE(made->result(), int(QDialog::Accepted));
    QTEST(made->selectedFile().toString(), "url");
}

void TestCloudFileDialog::newFolder()
{
    const auto made = dialog(QString(), true);
    QString title;
    QString label;
    QString preset;
    whenShown<QInputDialog>([&](QInputDialog *input) {
        title = input->windowTitle();
        label = input->labelText();
        preset = input->textValue();
        input->setTextValue(QStringLiteral("made"));
        input->accept();
    });
    child<QToolButton>(made.get(), "folderNewBtn")->click();
    QCOMPARE(title, QStringLiteral("Nouveau répertoire"));
    QCOMPARE(label, QStringLiteral("Nom du répertoire à créer"));
    QCOMPARE(preset, QStringLiteral("Nouveau répertoire"));
    QVERIFY(m_store->contains(QStringLiteral("/made")));
    // The view follows into the new folder.
    QCOMPARE(child<QLabel>(made.get(), "path")->text(), QStringLiteral("/made"));
    QCOMPARE(m_store->calls.last(), QStringLiteral("list /made"));
}

void TestCloudFileDialog::newFolderFailure()
{
    const auto made = dialog(QString(), true);
    whenShown<QInputDialog>([](QInputDialog *input) {
        input->setTextValue(QStringLiteral("docs"));
        input->accept();
    });
    QString text;
    QString title;
    answerBox(&text, QMessageBox::Ok, &title);
    made->onMkDir();
    QCOMPARE(title, QStringLiteral("Création d'un nouveau répertoire"));
    QCOMPARE(text,
             QStringLiteral(
                     "Le répertoire docs n'a pas étét crée.\nErreur: 'Le répertoire existe déjà'"));
    QCOMPARE(child<QLabel>(made.get(), "path")->text(), QStringLiteral("/"));
}

void TestCloudFileDialog::removeThroughTheContextMenu_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("confirm");
    QTest::addColumn<QString>("question");

    QTest::newRow("a file, confirmed")
            << "notes.txt" << true << "Le fichier /notes.txt va être supprimés\nEtes vous sûr?";
    QTest::newRow("a folder, confirmed")
            << "docs" << true << "Le répertoire  /docs va être supprimés\nEtes vous sûr?";
    QTest::newRow("a file, refused")
            << "notes.txt" << false << "Le fichier /notes.txt va être supprimés\nEtes vous sûr?";
}

void TestCloudFileDialog::removeThroughTheContextMenu()
{
    QFETCH(QString, name);
    QFETCH(bool, confirm);

    const auto made = dialog(QString(), false);
    QString menuText;
    QString question;
    QString title;
    answerBox(&question, confirm ? QMessageBox::Yes : QMessageBox::No, &title);
    removeThroughTheMenu(made.get(), name, &menuText);

    QCOMPARE(menuText, QStringLiteral("&Supprimer"));
    QCOMPARE(title, QStringLiteral("Suppression d'un fichier ou d'un répertoire"));
    QTEST(question, "question");
    QCOMPARE(m_store->contains(QLatin1Char('/') + name), !confirm);
    QCOMPARE(shown(made.get()).contains(name)
                     || shown(made.get()).contains(name + QLatin1Char('/')),
             !confirm);
}

void TestCloudFileDialog::removeFailure()
{
    m_store->failRemove = true;
    const auto made = dialog(QString(), false);
    QString question;
    QString failure;
    QString menuText;
    whenShown<QMessageBox>([&](QMessageBox *box) {
        question = box->text();
        box->button(QMessageBox::Yes)->click();
        // The failure box comes once the question has gone.
        answerBox(&failure, QMessageBox::Ok);
    });
    removeThroughTheMenu(made.get(), QStringLiteral("notes.txt"), &menuText);
    QTRY_VERIFY(!failure.isEmpty());
    QCOMPARE(failure,
             QStringLiteral("Le fichier ou le répertoire /notes.txt n'a pas pu être supprimé.\n"
                            "Erreur: cannot remove /notes.txt"));
    QVERIFY(m_store->contains(QStringLiteral("/notes.txt")));
}

void TestCloudFileDialog::contextMenuOnlyOnRows()
{
    const auto made = dialog(QString(), false);
    bool menuShown = false;
    whenShown<QMenu>([&](QMenu *menu) {
        menuShown = true;
        menu->close();
    });
    QTreeView *tree = treeOf(made.get());
    made->slotContextMenu(QPoint(5, tree->viewport()->height() - 2));
    QTest::qWait(100);
    QVERIFY(!menuShown);
    // Nothing selected: the action does nothing.
    tree->setCurrentIndex(QModelIndex());
    made->slotRmDir();
    QVERIFY(m_store->contains(QStringLiteral("/notes.txt")));
}

// What a user reads in the chooser with a language's catalogue installed, as a host installs it:
// the window's title, labels, headers, a size with its unit and the locale's decimal mark, the
// context menu, the question before a removal (its double space after the folder's kind
// included) and its failure.
QStringList TestCloudFileDialog::textsShownIn(const QString &language)
{
    const LanguageScope scope(language);
    if (!scope.isLoaded())
        return {};
    m_store->failRemove = true;
    const auto made = dialog(QString(), true);
    const QAbstractItemModel *model = treeOf(made.get())->model();
    QStringList headers;
    for (int column = 0; column < 3; ++column)
        headers.append(model->headerData(column, Qt::Horizontal).toString());
    QString menuText;
    QString question;
    QString title;
    QString failure;
    whenShown<QMessageBox>([&](QMessageBox *box) {
        question = box->text();
        title = box->windowTitle();
        box->button(QMessageBox::Yes)->click();
        answerBox(&failure, QMessageBox::Ok);
    });
    removeThroughTheMenu(made.get(), QStringLiteral("docs"), &menuText);
    if (!QTest::qWaitFor([&failure] { return !failure.isEmpty(); }))
        return {};
    return { made->windowTitle(),
             child<QLabel>(made.get(), "label")->text(),
             child<QCheckBox>(made.get(), "showHiddenFiles")->text(),
             child<QCheckBox>(made.get(), "addExtension")->text(),
             headers.join(QLatin1Char('|')),
             rowNamed(made.get(), QStringLiteral("notes.txt")).siblingAtColumn(1).data().toString(),
             menuText,
             title,
             question,
             failure };
}

// The catalogue of each language is installed and used for every text the chooser shows: French
// is the sources' own language, and the other catalogues change each text. Written out here are
// the title, which tells one catalogue from another, and the texts that the chooser puts
// together with the locale or from several pieces; the catalogues' entries themselves are
// tst_translations' to check.
void TestCloudFileDialog::speaksTheUsersLanguage_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QStringList>("shown"); // title, a size, a removal's question and failure

    QTest::newRow("English") << "en"
                             << QStringList { "Select a file in the cloud", "5.00 bytes",
                                              "The folder  /docs will be deleted.\nAre you sure?",
                                              "The file or folder /docs could not be deleted.\n"
                                              "Error: cannot remove /docs" };
    QTest::newRow("German") << "de"
                            << QStringList { "Datei in der Cloud auswählen", "5,00 Byte",
                                             "Ordner  /docs wird gelöscht.\nSind Sie sicher?",
                                             "Die Datei oder der Ordner /docs konnte nicht "
                                             "gelöscht werden.\nFehler: cannot remove /docs" };
    QTest::newRow("French") << "fr"
                            << QStringList { "Sélection fichier depuis le cloud", "5,00 Octets",
                                             "Le répertoire  /docs va être supprimés\nEtes vous "
                                             "sûr?",
                                             "Le fichier ou le répertoire /docs n'a pas pu être "
                                             "supprimé.\nErreur: cannot remove /docs" };
}

void TestCloudFileDialog::speaksTheUsersLanguage()
{
    QFETCH(QString, language);
    QFETCH(QStringList, shown);

    const QStringList seen = textsShownIn(language);
    QCOMPARE(seen.size(), 10);
    QCOMPARE((QStringList { seen.at(0), seen.at(5), seen.at(8), seen.at(9) }), shown);
    if (language == QLatin1String("fr"))
        return;
    const QStringList sources = textsShownIn(QStringLiteral("fr"));
    QCOMPARE(sources.size(), seen.size());
    for (int i = 0; i < seen.size(); ++i)
        QVERIFY2(seen.at(i) != sources.at(i), qPrintable(seen.at(i)));
}

void TestCloudFileDialog::overTheDriveBackEnd()
{
    EmulatorProcess emulator;
    QVERIFY(emulator.start({ QStringLiteral("--auto-approve") }));
    emulator.exportEnvironment();
    emulator.seedFile(QStringLiteral("/docs/report.txt"), "report");
    emulator.seedFolder(QStringLiteral("/docs/sub"));
    emulator.seedFile(QStringLiteral("/notes.txt"), "notes");
    ConsentBrowser browser;
    OAuthGoogle flow(QStringLiteral("gdapp"), nullptr);
    GoogleFile file(QStringLiteral("gdapp"), &flow, QUrl(QStringLiteral("gdapp:/")), nullptr);

    // Into docs/sub and back up, then a file of docs: the Drive's objects carry the path.
    QStringList seen;
    whenShown<CloudFileDialog>([&](CloudFileDialog *shownDialog) {
        clickRow(shownDialog, QStringLiteral("docs"));
        clickRow(shownDialog, QStringLiteral("sub"));
        seen.append(child<QLabel>(shownDialog, "path")->text());
        child<QToolButton>(shownDialog, "cdToParent")->click();
        seen.append(child<QLabel>(shownDialog, "path")->text());
        seen += shown(shownDialog);
        clickRow(shownDialog, QStringLiteral("report.txt"));
        clickOk(shownDialog);
    });
    expectRefusedConnection();
    QCOMPARE(file.getOpenFileName(nullptr, QString(), QString(), QString()),
             QUrl(QStringLiteral("gdapp:/docs/report.txt")));
    QCOMPARE(seen, (QStringList { "/docs/sub", "/docs", "sub/", "report.txt" }));

    // A listed object carries no folder: the answer to a double-click names the file twice from
    // the top, while the label still shows the folder.
    whenShown<CloudFileDialog>([&](CloudFileDialog *shownDialog) {
        clickRow(shownDialog, QStringLiteral("docs"));
        doubleClickRow(shownDialog, QStringLiteral("report.txt"));
        seen = QStringList { child<QLabel>(shownDialog, "path")->text() };
    });
    expectRefusedConnection();
    QCOMPARE(file.getOpenFileName(nullptr, QString(), QString(), QString()),
             QUrl(QStringLiteral("gdapp:/report.txt/report.txt")));
    QCOMPARE(seen, QStringList { "/docs" });
}

QTEST_MAIN(TestCloudFileDialog)
#include "tst_cloudfiledialog.moc"
