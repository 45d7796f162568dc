#pragma once

#include "nilable.h"

#include <QFile>
#include <QString>
#include <memory>

class QSaveFile;

class TextInputStream;
class TextOutputStream;

// A path on disk, whether or not anything is there yet.
class FolderItem
{
public:
    FolderItem() = default;
    explicit FolderItem(QString path)
        : m_path(std::move(path))
    {
    }

    // Nil where this item is not a folder on disk; otherwise the child, whether it exists or not.
    Nilable<FolderItem> Child(const QString& name) const;
    bool Exists() const;
    bool Directory() const;
    void CreateAsFolder() const;
    // Ends with a separator, so a child's name can be appended to it directly.
    QString AbsolutePath() const;
    const QString& NativePath() const { return m_path; }
    QString Name() const;
    // Copies the bytes over whatever is at the destination, which is replaced whole or not at all.
    // False when the copy could not be made.
    bool CopyFileTo(const FolderItem& destination) const;
    // Opens the file in the system's viewer for its type.
    void Launch(bool activate = true) const;

    std::unique_ptr<TextInputStream> OpenAsTextFile() const;
    // Null when the file cannot be created. The new text replaces any older file when the stream is
    // closed, whole: until then, and if the program dies first, the older file stays as it was.
    std::unique_ptr<TextOutputStream> CreateTextFile() const;

private:
    QString m_path;
};

namespace SpecialFolder {
FolderItem Documents();
}
FolderItem PreferencesFolder();
// A relative path is taken in the program's own folder.
FolderItem GetFolderItem(const QString& path);

// Lines are read and written as UTF-8 ended by a line feed; a CR before it is dropped on reading.
class TextInputStream
{
public:
    explicit TextInputStream(std::unique_ptr<QIODevice> device);
    // The next line without its end; the empty string past the end of the file.
    QString ReadLine();
    bool Eof() const;
    void Close();

private:
    std::unique_ptr<QIODevice> m_file;
};

class TextOutputStream
{
public:
    explicit TextOutputStream(std::unique_ptr<QSaveFile> file);
    ~TextOutputStream();
    void WriteLine(const QString& text);
    void Write(const QString& text);
    // Puts the text in the file's place.
    void Close();

private:
    std::unique_ptr<QSaveFile> m_file;
};
