#include "app.h"
#include "dialogs.h"
#include "folderitem.h"
#include "principal.h"

// Defined here rather than with the lists: the backup is one of the commands.
void Principal::FazBackup()
{
    // The path is rebuilt by name, not asked of the open database.
    const auto db = App::DatabaseItem();
    const std::optional<FolderItem> f = GetSaveFolderItem(QString(), QStringLiteral("Tally Vane.rbd"));
    if (!f)
        return;
    db->CopyFileTo(*f); // not looked at: the message follows every copy
    MsgBox(QStringLiteral("Backup Ok"));
}
