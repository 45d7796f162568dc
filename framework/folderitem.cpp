#include "folderitem.h"

#include "desktop.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QUrl>

Nilable<FolderItem> FolderItem::Child(const QString& name) const
{
    if (!Directory())
        return {};
    return FolderItem(QDir(m_path).filePath(name));
}

bool FolderItem::Exists() const
{
    return !m_path.isEmpty() && QFileInfo::exists(m_path);
}

bool FolderItem::Directory() const
{
    return QFileInfo(m_path).isDir();
}

void FolderItem::CreateAsFolder() const
{
    QDir().mkpath(m_path);
}

QString FolderItem::AbsolutePath() const
{
    QString p = QFileInfo(m_path).absoluteFilePath();
    if (Directory() && !p.endsWith(QLatin1Char('/')))
        p += QLatin1Char('/');
    return p;
}

QString FolderItem::Name() const
{
    return QFileInfo(m_path).fileName();
}

std::unique_ptr<TextInputStream> FolderItem::OpenAsTextFile() const
{
    auto file = std::make_unique<QFile>(m_path);
    if (!file->open(QIODevice::ReadOnly))
        return nullptr;
    return std::make_unique<TextInputStream>(std::move(file));
}

std::unique_ptr<TextOutputStream> FolderItem::CreateTextFile() const
{
    auto file = std::make_unique<QSaveFile>(m_path);
    if (!file->open(QIODevice::WriteOnly))
        return nullptr;
    return std::make_unique<TextOutputStream>(std::move(file));
}

FolderItem SpecialFolder::Documents()
{
    // Every set-up machine has it; a fresh home here may not, and its children are nil without it.
    const QString path = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    QDir().mkpath(path);
    return FolderItem(path);
}

FolderItem PreferencesFolder()
{
    // The folder is there on any set-up machine; make sure of it so the first quit can write.
    const QString path = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    QDir().mkpath(path);
    return FolderItem(path);
}

FolderItem GetFolderItem(const QString& path)
{
    // A relative path means beside the program, not wherever it was started from.
    if (QDir::isRelativePath(path))
        return FolderItem(QDir(QCoreApplication::applicationDirPath()).filePath(path));
    return FolderItem(path);
}

TextInputStream::TextInputStream(std::unique_ptr<QIODevice> device)
    : m_file(std::move(device))
{
}

QString TextInputStream::ReadLine()
{
    if (!m_file || m_file->atEnd())
        return QString();
    QByteArray line = m_file->readLine();
    if (line.endsWith('\n'))
        line.chop(1);
    if (line.endsWith('\r'))
        line.chop(1);
    return QString::fromUtf8(line);
}

bool TextInputStream::Eof() const
{
    return !m_file || m_file->atEnd();
}

void TextInputStream::Close()
{
    if (m_file)
        m_file->close();
}

TextOutputStream::TextOutputStream(std::unique_ptr<QSaveFile> file)
    : m_file(std::move(file))
{
}

// A stream never closed leaves the older file in place.
TextOutputStream::~TextOutputStream() = default;

void TextOutputStream::Write(const QString& text)
{
    if (m_file)
        m_file->write(text.toUtf8());
}

void TextOutputStream::WriteLine(const QString& text)
{
    Write(text + QLatin1Char('\n'));
}

void TextOutputStream::Close()
{
    if (m_file && m_file->isOpen())
        m_file->commit();
}

bool FolderItem::CopyFileTo(const FolderItem& destination) const
{
    const QFileInfo from(m_path);
    const QFileInfo to(destination.m_path);
    if (to.exists() && from.canonicalFilePath() == to.canonicalFilePath())
        return true;
    QFile in(m_path);
    if (!in.open(QIODevice::ReadOnly))
        return false;
    // Written beside the destination and renamed over it, so an older copy is never left half replaced.
    QSaveFile out(destination.m_path);
    if (!out.open(QIODevice::WriteOnly))
        return false;
    char buffer[64 * 1024];
    for (qint64 n; (n = in.read(buffer, sizeof buffer)) > 0;) {
        if (out.write(buffer, n) != n) {
            out.cancelWriting();
            break;
        }
    }
    return in.error() == QFileDevice::NoError && out.commit();
}

void FolderItem::Launch(bool) const
{
    OpenExternally(QUrl::fromLocalFile(QFileInfo(m_path).absoluteFilePath()));
}
