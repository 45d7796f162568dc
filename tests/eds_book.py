# Changes GNOME's address book through Evolution Data Server itself. Run inside dbus-run-session with
# HOME and the XDG folders at a test home. Standard input: blocks separated by blank lines, each
# "add", "modify" or "remove" on its first line, then a vCard (or, for remove, a UID). The adds are
# stored first, in one call, then the rest in order.
# With arguments instead: "SOURCE:COUNT" syncs that source's book from its server until its cache holds
# COUNT contacts and prints "SOURCE:COUNT"; "SOURCE=UID" removes a contact from that book, which, while
# the server is away, leaves it in the cache marked as deleted here.
import sys
import time

import gi

gi.require_version('EDataServer', '1.2')
gi.require_version('EBook', '1.2')
gi.require_version('EBookContacts', '1.2')
from gi.repository import EBook, EBookContacts, EDataServer

registry = EDataServer.SourceRegistry.new_sync(None)
for arg in sys.argv[1:]:
    source, _, uid = arg.partition('=')
    if uid:
        EBook.BookClient.connect_sync(registry.ref_source(source), 2, None).remove_contact_by_uid_sync(uid, 0, None)
        continue
    source, _, count = arg.partition(':')
    client = EBook.BookClient.connect_sync(registry.ref_source(source), 2, None)
    client.refresh_sync(None)
    for _ in range(100):
        found = len(client.get_contacts_sync('', None)[1])
        if found >= int(count):
            break
        time.sleep(0.2)
    print(f'{source}:{found}')
if len(sys.argv) > 1:
    sys.exit(0)
# The local book reports no connection: a short wait, then it is used as it is.
client = EBook.BookClient.connect_sync(registry.ref_builtin_address_book(), 3, None)
blocks = [b.strip().partition('\n') for b in sys.stdin.read().split('\n\n') if b.strip()]
card = lambda body: EBookContacts.Contact.new_from_vcard(body.strip().replace('\n', '\r\n'))
adds = [card(body) for op, _, body in blocks if op == 'add']
if adds:
    client.add_contacts_sync(adds, 0, None)
for op, _, body in blocks:
    if op == 'remove':
        client.remove_contact_by_uid_sync(body.strip(), 0, None)
    elif op == 'modify':
        client.modify_contact_sync(card(body), 0, None)
