# Changes GNOME's address book through Evolution Data Server itself. Run inside dbus-run-session with
# HOME and the XDG folders at a test home. Standard input: blocks separated by blank lines, each
# "add", "modify" or "remove" on its first line, then a vCard (or, for remove, a UID).
import sys

import gi

gi.require_version('EDataServer', '1.2')
gi.require_version('EBook', '1.2')
gi.require_version('EBookContacts', '1.2')
from gi.repository import EBook, EBookContacts, EDataServer

registry = EDataServer.SourceRegistry.new_sync(None)
# The local book reports no connection: a short wait, then it is used as it is.
client = EBook.BookClient.connect_sync(registry.ref_builtin_address_book(), 3, None)
for block in sys.stdin.read().split('\n\n'):
    op, _, body = block.strip().partition('\n')
    if op == 'remove':
        client.remove_contact_by_uid_sync(body.strip(), 0, None)
    elif op in ('add', 'modify'):
        contact = EBookContacts.Contact.new_from_vcard(body.strip().replace('\n', '\r\n'))
        (client.add_contact_sync if op == 'add' else client.modify_contact_sync)(contact, 0, None)
