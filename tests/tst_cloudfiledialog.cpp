// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "chooserdriving.h"
#include "cloudfiledialog.h"
#include "languagescope.h"
#include "memorycloudfile.h"

#include <QCheckBox>
#include <QComboBox>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QToolButton>
#include <QTreeView>
#include <QtTest>

namespace {
QStringList shownIn(QWidget *dialog)
{
    return shown(treeOf(dialog)->model());
}

QString pathShownIn(QWidget *dialog)
{
    return child<QLabel>(dialog, "path")->text();
}

// Removes the row NAME through its context menu, answering the question with ANSWER, and
// returns what the user read: the menu's entry, then the title and text of each box shown.
QStringList removeThroughTheMenu(CloudFileDialog *dialog, const QString &name,
                                 QMessageBox::StandardButton answer)
{
    const auto read = std::make_shared<QStringList>();
    const auto reply = [read](QMessageBox::StandardButton button) {
        return [read, button](QMessageBox *box) {
            *read << box->windowTitle() << box->text();
            box->button(button)->click();
        };
    };
    whenShown<QMessageBox>([reply, answer](QMessageBox *box) {
        reply(answer)(box);
        // A failure's box comes once the question has gone.
        whenShown<QMessageBox>(reply(QMessageBox::Ok));
    });
    whenShown<QMenu>([read](QMenu *menu) {
        *read << menu->actions().value(0)->text();
        menu->actions().value(0)->trigger();
        menu->close();
    });
    QTreeView *tree = treeOf(dialog);
    tree->setCurrentIndex(rowNamed(dialog, name));
    dialog->slotContextMenu(tree->visualRect(rowNamed(dialog, name)).center());
    return *read;
}
} // namespace

class TestCloudFileDialog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
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

    void doubleClickDoublesThePath();
    void folderNavigation();
    void saveNames_data();
    void saveNames();
    void newFolder_data();
    void newFolder();
    void removeThroughTheContextMenu_data();
    void removeThroughTheContextMenu();
    void contextMenuOnlyOnRows();
    void speaksTheUsersLanguage_data();
    void speaksTheUsersLanguage();

private:
    std::unique_ptr<CloudFileDialog> dialog(const QString &filter, bool save);
    QStringList textsShownIn(const QString &language); // empty if they could not all be read

    QSharedPointer<MemoryStore> m_store;
    std::unique_ptr<MemoryCloudFile> m_file;
};

void TestCloudFileDialog::initTestCase()
{
    dropChooserNoise();
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

    QTest::newRow("label against the parenthesis")
            << "Images(*.png *.jpg)" << QStringList { "*.png", "*.jpg" };
    QTest::newRow("empty parentheses") << "Tout ()" << QStringList();
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
// filter's extension and make folders. OK without a name does nothing in either.
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
    QCOMPARE(pathShownIn(made.get()), QStringLiteral("/"));
    QCOMPARE(m_store->calls, QStringList(QStringLiteral("list /")));
    QLineEdit *name = child<QLineEdit>(made.get(), "nameEdit");
    QVERIFY(name->text().isEmpty());
    QCOMPARE(name->isReadOnly(), !save);
    QCOMPARE(child<QToolButton>(made.get(), "folderNewBtn")->isHidden(), !save);
    QCOMPARE(child<QCheckBox>(made.get(), "addExtension")->isEnabled(), save);
    QVERIFY(!child<QCheckBox>(made.get(), "showHiddenFiles")->isChecked());
    clickOk(made.get());
    QVERIFY(made->isVisible());
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
    for (const char *name : { "cdToParent", "refreshView" }) {
        const QToolButton *button = child<QToolButton>(made.get(), name);
        QVERIFY2(!button->icon().pixmap(button->iconSize()).isNull(), name);
    }
}

// Folders first, then files, each by name; hidden entries only when asked; files through the
// first filter, whichever entry the user picks later (the box's signal does not reach the
// proxy).
void TestCloudFileDialog::entriesShown_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<bool>("hidden");
    QTest::addColumn<QStringList>("names");

    QTest::newRow("filtered, another entry picked")
            << "Textes (*.txt);;Tout (*)" << false
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
    QComboBox *combo = child<QComboBox>(made.get(), "filterCombo");
    QCOMPARE(combo->count(), made->makeFiltersList(filter).size());
    combo->setCurrentIndex(combo->count() - 1);
    child<QCheckBox>(made.get(), "showHiddenFiles")->setChecked(hidden);
    QTEST(shownIn(made.get()), "names");
}

void TestCloudFileDialog::doubleClickDoublesThePath()
{
    whenShown<CloudFileDialog>([](CloudFileDialog *shownDialog) {
        clickRow(shownDialog, QStringLiteral("docs"));
        doubleClickRow(shownDialog, QStringLiteral("report.txt"));
    });
    expectRefusedConnection();
    const QUrl chosen =
            m_file->getOpenFileName(nullptr, QStringLiteral("Ouvrir"), QString(), QString());
    QCOMPARE(chosen.toString(), QStringLiteral("mem:/docs/report.txt/report.txt"));
}

// A click enters a folder; refresh lists it again; up goes back to the root.
void TestCloudFileDialog::folderNavigation()
{
    const auto made = dialog(QString(), false);
    clickRow(made.get(), QStringLiteral("docs"));
    QCOMPARE(pathShownIn(made.get()), QStringLiteral("/docs"));
    QCOMPARE(shownIn(made.get()), (QStringList { "sub/", "report.txt" }));

    m_store->addFile(QStringLiteral("/docs/arrived.txt"), "new");
    child<QToolButton>(made.get(), "refreshView")->click();
    QCOMPARE(shownIn(made.get()), (QStringList { "sub/", "arrived.txt", "report.txt" }));
    QCOMPARE(pathShownIn(made.get()), QStringLiteral("/docs"));

    child<QToolButton>(made.get(), "cdToParent")->click();
    QCOMPARE(pathShownIn(made.get()), QStringLiteral("/"));
    QCOMPARE(shownIn(made.get()), (QStringList { "docs/", "pictures/", "data.csv", "notes.txt" }));
}

void TestCloudFileDialog::saveNames_data()
{
    QTest::addColumn<QString>("filter");
    QTest::addColumn<bool>("addExtension");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("url");

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

// The prompt, then the view in the new folder, or the service's refusal with the view left where
// it was.
void TestCloudFileDialog::newFolder_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("failure");
    QTest::addColumn<QString>("path");

    QTest::newRow("made") << "made"
                          << ""
                          << "/made";
    QTest::newRow("refused") << "docs"
                             << "Création d'un nouveau répertoire: Le répertoire docs n'a pas "
                                "étét crée.\nErreur: 'Le répertoire existe déjà'"
                             << "/";
}

void TestCloudFileDialog::newFolder()
{
    QFETCH(QString, name);

    const auto made = dialog(QString(), true);
    QStringList prompt;
    whenShown<QInputDialog>([&](QInputDialog *input) {
        prompt << input->windowTitle() << input->labelText() << input->textValue();
        input->setTextValue(name);
        input->accept();
    });
    QString failure;
    whenShown<QMessageBox>([&failure](QMessageBox *box) {
        failure = box->windowTitle() + QStringLiteral(": ") + box->text();
        box->button(QMessageBox::Ok)->click();
    });
    child<QToolButton>(made.get(), "folderNewBtn")->click();
    QCOMPARE(prompt,
             (QStringList { "Nouveau répertoire", "Nom du répertoire à créer",
                            "Nouveau répertoire" }));
    QTEST(failure, "failure");
    QTEST(pathShownIn(made.get()), "path");
}

// The question, then the listing without what was removed; or, when the service refuses, its
// error in a box of the same title.
void TestCloudFileDialog::removeThroughTheContextMenu_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("confirm");
    QTest::addColumn<bool>("serviceRefuses");
    QTest::addColumn<QStringList>("boxes"); // each box's text, after the title

    const QString folder = QStringLiteral("Le répertoire  /docs va être supprimés\nEtes vous sûr?");
    QTest::newRow("a folder, confirmed") << "docs" << true << false << QStringList { folder };
    QTest::newRow("a file, not confirmed")
            << "notes.txt" << false << false
            << QStringList { "Le fichier /notes.txt va être supprimés\nEtes vous sûr?" };
    QTest::newRow("the service refuses")
            << "docs" << true << true
            << QStringList { folder, "Suppression d'un fichier ou d'un répertoire",
                             "Le fichier ou le répertoire /docs n'a pas pu être supprimé.\nErreur: "
                             "cannot remove /docs" };
}

void TestCloudFileDialog::removeThroughTheContextMenu()
{
    QFETCH(QString, name);
    QFETCH(bool, confirm);
    QFETCH(bool, serviceRefuses);
    QFETCH(QStringList, boxes);

    m_store->failRemove = serviceRefuses;
    const auto made = dialog(QString(), false);
    const QStringList read =
            removeThroughTheMenu(made.get(), name, confirm ? QMessageBox::Yes : QMessageBox::No);
    QCOMPARE(read,
             QStringList({ "&Supprimer", "Suppression d'un fichier ou d'un répertoire" }) + boxes);
    const bool kept = !confirm || serviceRefuses;
    QCOMPARE(m_store->contains(QLatin1Char('/') + name), kept);
    QCOMPARE(rowNamed(made.get(), name).isValid(), kept);
}

// Off the rows there is no menu, and with no row current the removal does nothing.
void TestCloudFileDialog::contextMenuOnlyOnRows()
{
    const auto made = dialog(QString(), false);
    bool menuShown = false;
    whenShown<QMenu>([&](QMenu *menu) {
        menuShown = true;
        menu->close();
    });
    QTreeView *tree = treeOf(made.get());
    // A menu would run its own loop, and the poller close it, before the call returns.
    made->slotContextMenu(QPoint(5, tree->viewport()->height() - 2));
    QVERIFY(!menuShown);
    tree->setCurrentIndex(QModelIndex());
    made->slotRmDir();
    QVERIFY(m_store->contains(QStringLiteral("/notes.txt")));
}

// What a user reads in the chooser with a language's catalogue installed, as a host installs it:
// the window's title, a size with its unit and the locale's decimal mark, labels, headers, then
// the context menu, the question before a removal (its double space after the folder's kind
// included) and its failure, each box with its title.
QStringList TestCloudFileDialog::textsShownIn(const QString &language)
{
    const LanguageScope scope(language);
    if (!scope.isLoaded())
        return {};
    m_store->failRemove = true;
    const auto made = dialog(QString(), true);
    QStringList texts {
        made->windowTitle(),
        rowNamed(made.get(), QStringLiteral("notes.txt")).siblingAtColumn(1).data().toString(),
        child<QLabel>(made.get(), "label")->text(),
        child<QCheckBox>(made.get(), "showHiddenFiles")->text(),
        child<QCheckBox>(made.get(), "addExtension")->text(),
    };
    for (int column = 0; column < 3; ++column)
        texts << treeOf(made.get())->model()->headerData(column, Qt::Horizontal).toString();
    return texts + removeThroughTheMenu(made.get(), QStringLiteral("docs"), QMessageBox::Yes);
}

// The catalogue of each language is installed and used for every text the chooser shows: French
// is the sources' own language, and the other catalogues change each text. The title tells one
// catalogue from another; the catalogues' entries themselves are tst_translations' to check, and
// how the French texts are put together removeThroughTheContextMenu's.
void TestCloudFileDialog::speaksTheUsersLanguage_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("title");

    QTest::newRow("English") << "en"
                             << "Select a file in the cloud";
    QTest::newRow("German") << "de"
                            << "Datei in der Cloud auswählen";
}

void TestCloudFileDialog::speaksTheUsersLanguage()
{
    QFETCH(QString, language);

    const QStringList seen = textsShownIn(language);
    const QStringList sources = textsShownIn(QStringLiteral("fr"));
    QCOMPARE(sources.size(), 13);
    QCOMPARE(seen.size(), sources.size());
    QTEST(seen.first(), "title");
    for (int i = 0; i < seen.size(); ++i)
        QVERIFY2(seen.at(i) != sources.at(i), qPrintable(seen.at(i)));
}

QTEST_MAIN(TestCloudFileDialog)
#include "tst_cloudfiledialog.moc"
