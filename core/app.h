#pragma once

#include "folderitem.h"
#include "sqldatabase.h"

#include <QObject>
#include <QString>
#include <functional>
#include <memory>

// What the preferences need of the main window: its place and its columns' widths.
class MainWindowPort
{
public:
    virtual ~MainWindowPort() = default;
    virtual int Height() const = 0;
    virtual int Left() const = 0;
    virtual int Top() const = 0;
    virtual int Width() const = 0;
    virtual void setHeight(int value) = 0;
    virtual void setLeft(int value) = 0;
    virtual void setTop(int value) = 0;
    virtual void setWidth(int value) = 0;
    virtual int ProjetosWidthActual(int column) const = 0;
    virtual int ContatosWidthActual(int column) const = 0;
};

// The one application object: the database connection and every preference, for the whole run.
class App : public QObject
{
    Q_OBJECT

public:
    App();
    ~App() override;
    static App* Instance();

    std::unique_ptr<SQLDatabase> tvDB;
    bool PintaFundo = false;
    QString MailAssunto;
    QString MailMensagem;
    QString MailServidor;
    QString Mailmail;
    QString MailNome;
    QString MailSenha; // this run only; never written anywhere
    qint32 janela_top = 0;
    qint32 janela_height = 0;
    qint32 janela_left = 0;
    qint32 janela_width = 0;
    QString ProjetoColunaSize1, ProjetoColunaSize2, ProjetoColunaSize3, ProjetoColunaSize4;
    QString ProjetoColunaSize5, ProjetoColunaSize6, ProjetoColunaSize7, ProjetoColunaSize8;
    QString ClientesColunaSize1, ClientesColunaSize2, ClientesColunaSize3;
    QString ClientesColunaSize4, ClientesColunaSize5, ClientesColunaSize6;
    QString ColProjeto3, ColProjeto2, ColProjeto1, ColProjeto4, ColProjeto5, ColProjeto6;
    QString ColCliente1, ColCliente2, ColCliente3, ColCliente4, ColCliente5, ColCliente6;

    // Opens or creates the data and reads the preferences. False when the program is quitting.
    bool Open();
    void EncheLabels();
    void GravaPrefs();
    void LePrefs();
    // The 41 lines of the preferences file, read in order from an open stream.
    void LePrefs(TextInputStream& in);
    // For tests: runs halfway through GravaPrefs, before the new file has replaced the old one.
    static void setPrefsWriteHook(std::function<void()> hook);

    // The main window registers itself here; the preferences read and place it through this.
    void setMainWindow(MainWindowPort* window) { m_mainWindow = window; }
    MainWindowPort* mainWindow() const { return m_mainWindow; }

    // The application's version, from the version the program is built with.
    static int MajorVersion();
    static int MinorVersion();
    static int BugVersion();

    static Nilable<FolderItem> DataFolder();
    // Nil when the data folder is missing.
    static Nilable<FolderItem> DatabaseItem();
    static Nilable<FolderItem> PrefsItem();

private:
    MainWindowPort* m_mainWindow = nullptr;
};
