#pragma once

#include <QMenuBar>

class QAction;
class QMenu;

// The one menu bar of the program. Items carry the names their handlers are bound under; the
// Edit items have no handler and act on the focused text field, as the toolkit's own would.
class MenuBar1 : public QMenuBar
{
    Q_OBJECT

public:
    // The live menu bar, built on first use. The main window owns it once it is set there.
    static MenuBar1* Instance();

    QMenu* FileMenu;
    QAction* kArquivokSobre;
    QAction* FilekNovoContato;
    QAction* FilekNovoProjeto;
    QAction* kArquivokMail;
    QAction* FileAddressBook;
    QAction* FileBackup;
    QAction* FileQuit;
    QMenu* EditMenu;
    QAction* EditUndo;
    QAction* UntitledMenu1;
    QAction* EditCut;
    QAction* EditCopy;
    QAction* EditPaste;
    QAction* EditClear;
    QAction* UntitledMenu0;
    QAction* EditSelectAll;
    QAction* MenuPrefs;
    QMenu* VisualizarMenu;
    QAction* kVisualizarkProjetos;
    QAction* kVisualizarkContatos;
    QAction* kVisualizarkEtiquetas;

private:
    MenuBar1();
    QMenu* menu(const QString& name, const QString& text);
    QAction* item(QMenu* menu, const QString& name, const QString& text, const QString& shortcut = {});
    void editItem(QAction* item);
    void updateEditItems(QWidget* focus);
};
