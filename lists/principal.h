#pragma once

#include "app.h"
#include "livewindow.h"

#include <QColor>
#include <QMainWindow>
#include <functional>
#include <memory>

class Canvas;
class ContextualMenu;
class EmailMessage;
class Graphics;
class Listbox;
class PagePanel;
class SMTPSocket1;
class QLabel;
class QAction;
class QPushButton;
class QToolBar;

// The main window: both lists on two pages, and the state their handlers share.
class Principal : public QMainWindow, public MainWindowPort, public LiveWindow<Principal>
{
    Q_OBJECT

public:
    // Live from its first use.
    // The run's opening: the data and preferences, the controls' Open events, then the window's.
    static bool Start();
    ~Principal() override;

    qint32 RowClicked = 0;
    qint32 ColumnClicked = 0;
    bool modo_insere = false;
    bool modo_insere2 = false;
    qint32 RowEditada = 999999;
    QColor cLabel1 = QColor(255, 0, 0);
    QColor cLabel2 = QColor(230, 232, 1);
    QColor cLabel3 = QColor(0, 0, 255);
    QColor cLabel4 = QColor(0, 255, 0);
    QColor cLabel5 = QColor(255, 204, 0);
    QString tLabel1, tLabel2, tLabel3, tLabel4, tLabel5;

    PagePanel* pagePanel() const { return m_pagePanel; }
    Listbox* Contatos;
    Listbox* Projetos;
    QPushButton* bt_inserecontato;
    QPushButton* bt_insereprojeto;
    QLabel* StaticText1;
    QLabel* StaticText2;

    bool Contatos_CellClick(int row, int column, int x, int y);
    void Contatos_DoubleClick();
    bool Contatos_CellKeyDown(int row, int column, const QString& key);
    bool Contatos_KeyDown(const QString& key);
    void Contatos_Open();
    bool Projetos_CellClick(int row, int column, int x, int y);
    void Projetos_DoubleClick();
    bool Projetos_CellKeyDown(int row, int column, const QString& key);
    bool Projetos_KeyDown(const QString& key);
    void Projetos_Open();
    void Projetos_CellLostFocus(int row, int column);
    void Projetos_CellAction(int row, int column);
    void bt_inserecontato_Action();
    void bt_insereprojeto_Action();

    void Open();
    void Close();
    void InsereContato();
    void CarregaContatos();
    void AlteraContato();
    bool AbreJanela(const QString& text, bool ask, const QString& title);
    void ApagaContato();
    void AlteraProjeto();
    void InsereProjeto();
    void CarregaProjetos();
    void ApagaProjeto();
    // The list headings from App's preferences.
    void SetHeadings();

    // The preferences' view of the window.
    int Height() const override;
    int Left() const override;
    int Top() const override;
    int Width() const override;
    void setHeight(int value) override;
    void setLeft(int value) override;
    void setTop(int value) override;
    void setWidth(int value) override;
    int ProjetosWidthActual(int column) const override;
    int ContatosWidthActual(int column) const override;

    // ---- Labels
    ContextualMenu* ContextualMenu1 = nullptr;
    bool Projetos_CellBackgroundPaint(Graphics& g, int row, int column);
    bool Projetos_CellTextPaint(Graphics& g, int row, int column, int x, int y);
    void ContextualMenu1_Action(const QString& item);
    void ContextualMenu1_Open();
    void CarregaContextualMenu();

    // ---- Commands
    QToolBar* Toolbar11 = nullptr;
    void Toolbar11_Action(QAction* item);
    void FazBackup();

    // ---- Mail campaign
    std::unique_ptr<::SMTPSocket1> SMTPSocket1;
    void Mailing();
    // What the toolbar and the menu do alike.
    void showProjectsPage();
    void mailFromCustomersPage();
    // The label editor is a window above this one: the commands hand over its opening at start-up.
    static void setLabelEditor(std::function<void()> showModal);
    void SMTPSocket1_ServerError(qint32 code, const QString& reply, const std::shared_ptr<EmailMessage>& message);
    void SMTPSocket1_Error();
    void SMTPSocket1_MailSent();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    friend class LiveWindow<Principal>;
    static Principal* Make() { return new Principal(); }
    Principal();
    void CreateControls();
    int barsHeight() const;
    void OpenControls();
    void editCellSelected(Listbox* list, int row, int column);
    void storeEditedRow(bool& insertMode, void (Principal::*insere)(), void (Principal::*altera)());
    bool deleteConfirmed(const Listbox* list, const QString& key);
    void startNewRow(Listbox* list);
    DatabaseRecord contatoRecord(int row) const;
    DatabaseRecord projetoRecord(int row) const;

    PagePanel* m_pagePanel = nullptr;
    bool m_opened = false;

    // ---- Labels
    void CreateLabelControls();
    void setLabelSet(const QStringList& titles, const QStringList& colours);
    const QColor* labelColor(int row) const;
    bool m_labelsLoaded = false;

    // ---- Mail campaign
    void CreateMailControls();
};
