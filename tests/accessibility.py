#!/usr/bin/python3
"""What a screen reader reads of each window, through the accessibility bus.

Runs the program twice in the home that accessibility.sh sets up, opens every window through its menu
item, and fails on a control that has no name or on two controls of one role with one name in one
window. Usage: accessibility.py PROGRAM DATABASE
"""
import sqlite3
import subprocess
import sys
import time

import pyatspi
from pyatspi import Atspi

PROGRAM, DATABASE = sys.argv[1], sys.argv[2]

# The roles a user reaches and works with; containers, labels and table cells are read for what they hold.
CONTROLS = {
    "push button", "toggle button", "check box", "radio button", "text", "password text", "entry", "table",
    "tree table", "list", "list box", "tree", "combo box", "menu", "menu item", "check menu item",
    "radio menu item", "page tab", "page tab list", "spin button", "slider",
}
# A table's children are its headings and cells: what they read is the data, not the control.
LEAVES = {"table", "tree table", "list", "list box", "tree"}

problems = []


def fail(what):
    for p in problems + [what]:
        print("FAIL: " + p)
    sys.exit(1)


def wait(what, find, timeout=20.0):
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        found = find()
        if found is not None:
            return found
        time.sleep(0.1)
    fail("%s did not appear" % (what() if callable(what) else what))


def children(node):
    for i in range(node.childCount):
        child = node.getChildAtIndex(i)
        if child is not None:
            yield child


def descendants(node):
    for child in children(node):
        yield child
        if child.getRoleName() not in LEAVES:
            yield from descendants(child)


def application(process):
    def find():
        desktop = pyatspi.Registry.getDesktop(0)
        for app in children(desktop):
            if app.get_process_id() == process.pid:
                return app
        return None
    return wait("the program on the bus", find)


def window(app, title, roles=("frame", "dialog", "window")):
    def find():
        for w in children(app):
            if w.name == title and w.getRoleName() in roles and w.getState().contains(pyatspi.STATE_SHOWING):
                return w
        return None
    def showing():
        return ", ".join("%s %r" % (w.getRoleName(), w.name) for w in children(app)
                         if w.getState().contains(pyatspi.STATE_SHOWING))
    return wait(lambda: "window %r (showing: %s)" % (title, showing()), find)


def control(node, role, name=None):
    for d in descendants(node):
        if d.getRoleName() == role and (name is None or d.name == name):
            return d
    fail("no %s %r" % (role, name))


def press(node):
    # A modal window answers the press only when it closes: the press is sent without waiting for it.
    Atspi.set_timeout(300, -1)
    try:
        node.queryAction().doAction(0)
    except Exception:
        pass
    finally:
        Atspi.set_timeout(25000, -1)


def menu(app, caption):
    press(control(window(app, "Tallyvane", ("frame",)), "menu item", caption))


def check(node, label):
    seen = {}
    named = []
    for d in descendants(node):
        role = d.getRoleName()
        if role not in CONTROLS:
            continue
        name = d.name.strip()
        if not name:
            problems.append("%s: a %s without a name (%d children)" % (label, role, d.childCount))
            continue
        named.append("%s %r%s" % (role, name, " (%s)" % d.description if d.description else ""))
        if (role, name) in seen:
            problems.append("%s: two %s controls named %r" % (label, role, name))
        seen[(role, name)] = True
    print("%s:\n    %s" % (label, "\n    ".join(named)))


def quit(app, process):
    menu(app, "Exit")
    try:
        process.wait(20)
    except subprocess.TimeoutExpired:
        process.kill()
        fail("the program did not quit")


# First run: every window that a fresh home can open.
process = subprocess.Popen([PROGRAM])
app = application(process)
main = window(app, "Tallyvane", ("frame",))
check(main, "Principal")

menu(app, "About")
about = window(app, "About")
check(about, "wSobre")
press(control(about, "push button", "Ok"))

menu(app, "Preferences")
prefs = window(app, "Preferences")
check(prefs, "wPreferencias")
# Server, login, e-mail, subject and message, in the order of the window's fields.
fields = [d for d in descendants(prefs) if d.getRoleName() == "text"]
for field, text in zip(fields, ["127.0.0.1", "me@example.com", "Me", "News", "Hello"]):
    field.queryEditableText().setTextContents(text)
press(control(prefs, "push button", "Ok"))

menu(app, "Labels")
labels = window(app, "Labels")
check(labels, "wLabels")
# A square reads as its label and takes a press as it takes a click: the colour picker opens.
press(control(labels, "push button", "Label 1 colour: Important"))
press(control(window(app, "Select a color"), "push button", "Cancel"))
press(control(labels, "push button", "Cancel"))

menu(app, "Address Book")
book = window(app, "Address Book")
check(book, "wAddressBook")
press(control(book, "push button", "Cancel"))

menu(app, "E-Mail")
question = window(app, "Attention")
check(question, "confirma")
press(control(question, "push button", "Ok"))
password = window(app, "Password")
check(password, "wMailSenha")
control(password, "password text").queryEditableText().setTextContents("secret")
press(control(password, "push button", "Ok"))
# Nobody is selected: the program says so in a message box.
message = window(app, "Tallyvane", ("dialog", "alert"))
press(control(message, "push button", "OK"))
quit(app, process)

# Second run: with a customer selected the mail goes out, and the progress window stays up while no
# server answers.
with sqlite3.connect(DATABASE) as db:
    db.execute("INSERT INTO Contatos (Nome, Email) VALUES ('Ada', 'ada@example.com')")
process = subprocess.Popen([PROGRAM])
app = application(process)
menu(app, "Customers")
table = control(window(app, "Tallyvane", ("frame",)), "table")
table.queryTable().addRowSelection(0)
menu(app, "E-Mail")
press(control(window(app, "Attention"), "push button", "Ok"))
password = window(app, "Password")
control(password, "password text").queryEditableText().setTextContents("secret")
press(control(password, "push button", "Ok"))
check(window(app, "Sending"), "wMensagem1")
quit(app, process)

if problems:
    fail("%d problems" % len(problems))
