#include "appcommands.h"

#include "application.h"
#include "canvas.h"
#include "listbox.h"
#include "menubar1.h"
#include "menuhandlers.h"
#include "principal.h"
#include "toolbar1.h"
#include "waddressbook.h"
#include "wlabels.h"
#include "wpreferencias.h"
#include "wsobre.h"

#include <QPushButton>

namespace {
void showWindow(QWidget* w)
{
    w->show();
    w->raise();
    w->activateWindow();
}
} // namespace

void AppHandlers::_MenuPrefs_Action()
{
    showWindow(wPreferencias::Instance());
}

void AppHandlers::_FilekNovoContato_Action()
{
    Principal* w = Principal::Instance();
    w->pagePanel()->setValue(0);
    w->bt_inserecontato->click();
}

void AppHandlers::_FilekNovoProjeto_Action()
{
    Principal* w = Principal::Instance();
    w->pagePanel()->setValue(1);
    w->bt_insereprojeto->click();
}

void AppHandlers::_kArquivokMail_Action()
{
    Principal::Instance()->mailFromCustomersPage();
}

void AppHandlers::_FileAddressBook_Action(int)
{
    wAddressBook::Instance()->ShowModal();
}

void AppHandlers::_FileBackup_Action()
{
    Principal::Instance()->FazBackup();
}

void AppHandlers::_kVisualizarkProjetos_Action()
{
    Principal::Instance()->showProjectsPage();
}

void AppHandlers::_kVisualizarkContatos_Action()
{
    // Unlike the toolbar's Customers, the menu focuses before it loads.
    Principal* w = Principal::Instance();
    w->pagePanel()->setValue(0);
    w->Contatos->SetFocus();
    w->CarregaContatos();
}

void AppHandlers::_kVisualizarkEtiquetas_Action()
{
    wLabels::Instance()->ShowModal();
}

void AppHandlers::_kArquivokSobre_Action()
{
    showWindow(wSobre::Instance());
}

// No menu item carries this name, so nothing reaches it; it is kept bound all the same.
void AppHandlers::_kAjudaManual_Action()
{
    const FolderItem f = GetFolderItem(QStringLiteral("manual.pdf"));
    if (f.Exists())
        f.Launch(true);
}

void ApplicationAddMenuHandlers()
{
    auto plain = [](void (*handler)()) { return [handler](int) { handler(); }; };
    MenuHandlers::Add(QStringLiteral("MenuPrefs"), plain(&AppHandlers::_MenuPrefs_Action));
    MenuHandlers::Add(QStringLiteral("FilekNovoContato"), plain(&AppHandlers::_FilekNovoContato_Action));
    MenuHandlers::Add(QStringLiteral("FilekNovoProjeto"), plain(&AppHandlers::_FilekNovoProjeto_Action));
    MenuHandlers::Add(QStringLiteral("kArquivokMail"), plain(&AppHandlers::_kArquivokMail_Action));
    MenuHandlers::Add(QStringLiteral("FileAddressBook"), &AppHandlers::_FileAddressBook_Action);
    MenuHandlers::Add(QStringLiteral("FileBackup"), plain(&AppHandlers::_FileBackup_Action));
    MenuHandlers::Add(QStringLiteral("kVisualizarkProjetos"), plain(&AppHandlers::_kVisualizarkProjetos_Action));
    MenuHandlers::Add(QStringLiteral("kVisualizarkContatos"), plain(&AppHandlers::_kVisualizarkContatos_Action));
    MenuHandlers::Add(QStringLiteral("kVisualizarkEtiquetas"), plain(&AppHandlers::_kVisualizarkEtiquetas_Action));
    MenuHandlers::Add(QStringLiteral("kArquivokSobre"), plain(&AppHandlers::_kArquivokSobre_Action));
    MenuHandlers::Add(QStringLiteral("kAjudaManual"), plain(&AppHandlers::_kAjudaManual_Action));
}

Principal* MakeDefaultView()
{
    Principal* w = Principal::Instance();
    w->setMenuBar(MenuBar1::Instance());
    if (!w->Toolbar11) {
        auto* toolbar = new Toolbar1(w);
        w->Toolbar11 = toolbar;
        w->addToolBar(Qt::TopToolBarArea, toolbar);
        QObject::connect(toolbar, &QToolBar::actionTriggered, w,
            [w](QAction* item) { RunGuarded([w, item] { w->Toolbar11_Action(item); }); });
    }
    Principal::setLabelEditor(&AppHandlers::_kVisualizarkEtiquetas_Action);
    return w;
}
