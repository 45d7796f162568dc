#pragma once

class Principal;

// The App menu handlers. They live here, not on App, because they drive the main window and the
// windows above it, which the application core cannot see.
class AppHandlers
{
public:
    static void _MenuPrefs_Action();
    static void _FilekNovoContato_Action();
    static void _FilekNovoProjeto_Action();
    static void _kArquivokMail_Action();
    static void _FileAddressBook_Action(int index);
    static void _FileBackup_Action();
    static void _kVisualizarkProjetos_Action();
    static void _kVisualizarkContatos_Action();
    static void _kVisualizarkEtiquetas_Action();
    static void _kArquivokSobre_Action();
    static void _kAjudaManual_Action();
};

// Binds the item names to the handlers above.
void ApplicationAddMenuHandlers();

// Creates the main window with the shared menu bar and the toolbar.
Principal* MakeDefaultView();
