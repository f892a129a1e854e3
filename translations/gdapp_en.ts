<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="fr">
<context>
    <name>CloudFileDialog</name>
    <message>
        <source>Sélection fichier depuis le cloud</source>
        <translation>Select a file in the cloud</translation>
    </message>
    <message>
        <source>...</source>
        <extracomment>Shown only where the theme and the host have no icon for the button</extracomment>
        <translation>...</translation>
    </message>
    <message>
        <source>Chemin:</source>
        <translation>Path:</translation>
    </message>
    <message>
        <source>Nom:</source>
        <translation>Name:</translation>
    </message>
    <message>
        <source>Filtre:</source>
        <translation>Filter:</translation>
    </message>
    <message>
        <source>Afficher les fichiers cachés</source>
        <translation>Show hidden files</translation>
    </message>
    <message>
        <source>Ajouter l&apos;extension par défaut au nom de fichier</source>
        <translation>Add the default extension to the file name</translation>
    </message>
    <message>
        <source>&amp;Supprimer</source>
        <extracomment>The one entry of the context menu of the list: removes the file or folder under the cursor.</extracomment>
        <translation>&amp;Delete</translation>
    </message>
    <message>
        <source>Nouveau répertoire</source>
        <extracomment>Both the title of the prompt for a new folder&apos;s name and the name it proposes.</extracomment>
        <translation>New folder</translation>
    </message>
    <message>
        <source>Nom du répertoire à créer</source>
        <translation>Name of the folder to create</translation>
    </message>
    <message>
        <source>Création d&apos;un nouveau répertoire</source>
        <translation>Creating a new folder</translation>
    </message>
    <message>
        <source>Le répertoire %1 n&apos;a pas étét crée.
Erreur: &apos;%2&apos;</source>
        <extracomment>%1 is the name typed, %2 the service&apos;s error text.</extracomment>
        <translation>The folder %1 was not created.
Error: &apos;%2&apos;</translation>
    </message>
    <message>
        <source>Suppression d&apos;un fichier ou d&apos;un répertoire</source>
        <translation>Deleting a file or a folder</translation>
    </message>
    <message>
        <source>répertoire </source>
        <extracomment>%1 of the question &quot;Le %1 %2 va être supprimés&quot;. Keep a trailing space: hosts have always shown the sentence with two spaces after this word.</extracomment>
        <translation>folder </translation>
    </message>
    <message>
        <source>fichier</source>
        <extracomment>%1 of the question &quot;Le %1 %2 va être supprimés&quot;.</extracomment>
        <translation>file</translation>
    </message>
    <message>
        <source>Le %1 %2 va être supprimés
Etes vous sûr?</source>
        <extracomment>%1 is &quot;répertoire &quot; or &quot;fichier&quot;, %2 the path of what is removed.</extracomment>
        <translation>The %1 %2 will be deleted.
Are you sure?</translation>
    </message>
    <message>
        <source>Le fichier ou le répertoire %1 n&apos;a pas pu être supprimé.
Erreur: %2</source>
        <extracomment>%1 is the path of what was to be removed, %2 the service&apos;s error text.</extracomment>
        <translation>The file or folder %1 could not be deleted.
Error: %2</translation>
    </message>
</context>
<context>
    <name>ExplorerModel</name>
    <message>
        <source>Nom</source>
        <translation>Name</translation>
    </message>
    <message>
        <source>Taille</source>
        <translation>Size</translation>
    </message>
    <message>
        <source>Dernière modification</source>
        <extracomment>Column header: the date and time of the last change.</extracomment>
        <translation>Last modified</translation>
    </message>
    <message>
        <source>kB</source>
        <extracomment>Size units, kB to YB: powers of 1024 bytes, written after a number with two decimals.</extracomment>
        <translation>kB</translation>
    </message>
    <message>
        <source>MB</source>
        <translation>MB</translation>
    </message>
    <message>
        <source>GB</source>
        <translation>GB</translation>
    </message>
    <message>
        <source>TB</source>
        <translation>TB</translation>
    </message>
    <message>
        <source>PB</source>
        <translation>PB</translation>
    </message>
    <message>
        <source>EB</source>
        <translation>EB</translation>
    </message>
    <message>
        <source>ZB</source>
        <translation>ZB</translation>
    </message>
    <message>
        <source>YB</source>
        <translation>YB</translation>
    </message>
    <message>
        <source>%1 Octets</source>
        <extracomment>A size under 1024 bytes; %1 is the number, always with two decimals (&quot;512.00&quot;).</extracomment>
        <translation>%1 bytes</translation>
    </message>
    <message>
        <source>Inconnu</source>
        <extracomment>In place of a size unit, from 1024 YB up.</extracomment>
        <translation>unknown</translation>
    </message>
</context>
<context>
    <name>GoogleFile</name>
    <message>
        <source>Les données reçues sont corrompues</source>
        <extracomment>The content downloaded does not match the checksum the service gave for it.</extracomment>
        <translation>The data received is corrupt</translation>
    </message>
    <message>
        <source>Le répertoire existe déjà</source>
        <extracomment>Something of the name asked for, file or folder, is already in the folder.</extracomment>
        <translation>The folder already exists</translation>
    </message>
</context>
<context>
    <name>QObject</name>
    <message>
        <source>Google Drive (Privé Tarnwick)</source>
        <extracomment>The provider as Tarnwick lists it: the part of the user&apos;s Drive private to Tarnwick.</extracomment>
        <translation>Google Drive (Tarnwick private)</translation>
    </message>
</context>
</TS>
