#!/usr/bin/python3
'''What a screen reader meets: the real program under Xvfb with the
accessibility bus up, read and driven through AT-SPI (pyatspi) as an
assistive technology would, on a private home with two node_modules folders
beside their package.json and a pip cache:

  1. the program is found by name and its canvas holds a toolbar, the
     sidebar list, the page and the footer; the toolbar's push buttons are
     named, clickable, showing where the frame drew them, Rescan with F5;
  2. the sidebar lists the overview (selected) and the categories, each
     named by its title and described by its size;
  3. selecting "node_modules" through the list's selection shows its page:
     Open folder, Safe ones, None, and one check box per entry, named by
     the entry and described by its size and safety, with its "Show in file
     manager" button; "Delete permanently" is insensitive;
  4. an entry ticked with its "click" action reads CHECKED; the footer's
     label names the amount, which the frame also shows; the button turns
     sensitive;
  5. "Delete permanently" opens the confirmation: a modal alert named by its
     title, the message as its description, with its two buttons; the page
     behind it no longer shows; "Cancel" closes it and the check box is
     still the same object;
  6. settings: a modal dialog with the appearance choices as radio buttons
     (the stored one checked), the languages, the projects-folder buttons and
     the command field as an editable text; closed with its Close button;
  7. a rescan started with Rescan's action ends with an announcement;
  8. a click puts the keyboard focus on a sidebar item, which reads FOCUSED;
then the window is closed, the program must end with status 0, and nothing
in the home has changed (a checksum manifest of every file).

The program runs in a D-Bus session of its own (the test is started inside
dbus-run-session) with the accessibility bus launched on it, with HOME and
every XDG folder inside a folder made with mkdtemp; the only folder this test
removes is the one it made. The state file the program writes after every
frame (QUILLET_STATE_FILE) says where the frame drew each control.

usage: dbus-run-session -- access_test.py PATH_TO_QUILLET SCREENSHOT_DIR
'''

import faulthandler
import json
import os
import threading
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
sys.dont_write_bytecode = True
import deletion_road_test as road  # noqa: E402
from deletion_road_test import check, Failure  # noqa: E402

import gi  # noqa: E402
gi.require_version('Atspi', '2.0')
from gi.repository import Atspi, GLib  # noqa: E402
import pyatspi  # noqa: E402

BUS_LAUNCHER = '/usr/libexec/at-spi-bus-launcher'
NODE_MODULES = 'nodeModules'
PIP_CACHE = 'pipCache'


def wait_for(predicate, what, timeout=10):
    '''Polls predicate while the GLib main context runs (AT-SPI events
    arrive through it); fails naming what was awaited.'''
    deadline = time.monotonic() + timeout
    while True:
        ctx = GLib.MainContext.default()
        while ctx.pending():
            ctx.iteration(False)
        value = predicate()
        if value:
            return value
        if time.monotonic() >= deadline:
            raise Failure(f'{what}: not seen within {timeout} s')
        time.sleep(0.05)


# ---------------------------------------------------------------------------
# Reading the tree
# ---------------------------------------------------------------------------

def kids(acc):
    return [acc.getChildAtIndex(i) for i in range(acc.childCount)]


def role(acc):
    return acc.getRole()


def states(acc):
    return acc.getState()


def has(acc, *wanted):
    s = states(acc)
    return all(s.contains(w) for w in wanted)


def lacks(acc, *unwanted):
    s = states(acc)
    return not any(s.contains(w) for w in unwanted)


def named(parent, r, name):
    found = [c for c in kids(parent) if role(c) == r and c.name == name]
    check(len(found) == 1, f'{len(found)} children of role {Atspi.role_get_name(r)} named '
          f'{name!r} in {describe(parent)}: {[describe(c) for c in kids(parent)]}')
    return found[0]


def describe(acc):
    try:
        return f'{acc.getRoleName()} {acc.name!r}'
    except Exception:  # noqa: BLE001  (a defunct object answers nothing)
        return '<gone>'


def click_action(acc):
    action = acc.queryAction()
    check(action.nActions == 1 and action.getName(0) == 'click',
          f'{describe(acc)} has actions {[action.getName(i) for i in range(action.nActions)]}')
    return action


def live_control(acc):
    check(has(acc, pyatspi.STATE_ENABLED, pyatspi.STATE_SENSITIVE, pyatspi.STATE_VISIBLE,
              pyatspi.STATE_FOCUSABLE), f'{describe(acc)} is not an enabled, visible, focusable '
          f'control: {states_text(acc)}')


def states_text(acc):
    return sorted(pyatspi.stateToString(s) for s in states(acc).getStates())


class Screen:
    '''The program as AT-SPI shows it: its canvas and the four regions.'''

    def __init__(self, app_acc):
        self.app = app_acc

    def canvas(self):
        frames = [c for c in kids(self.app) if role(c) == pyatspi.ROLE_FRAME]
        check(len(frames) == 1, f'the program shows {len(frames)} frames')
        check(frames[0].name == 'Quillet', f'the window is named {frames[0].name!r}')
        inner = kids(frames[0])
        check(len(inner) == 1 and role(inner[0]) == pyatspi.ROLE_PANEL,
              f'the window holds {[describe(c) for c in inner]}, not one panel')
        return inner[0]

    def top(self):
        return kids(self.canvas())

    def region(self, r):
        found = [c for c in self.top() if role(c) == r]
        check(len(found) == 1, f'{len(found)} top-level objects of role '
              f'{Atspi.role_get_name(r)}: {[describe(c) for c in self.top()]}')
        return found[0]

    def toolbar(self):
        return self.region(pyatspi.ROLE_TOOL_BAR)

    def sidebar(self):
        return self.region(pyatspi.ROLE_LIST)

    def panels(self):
        return [c for c in self.top() if role(c) == pyatspi.ROLE_PANEL]

    def page(self):
        return self.panels()[0]

    def footer(self):
        return self.panels()[1]

    def overlay(self):
        found = [c for c in self.top() if role(c) in (pyatspi.ROLE_DIALOG, pyatspi.ROLE_ALERT)]
        return found[0] if found else None


# ---------------------------------------------------------------------------
# The session
# ---------------------------------------------------------------------------

def build_home(home):
    j = os.path.join
    road.write(j(home, 'projects/webapp/package.json'), 400, 'pkg-a')
    road.write(j(home, 'projects/webapp/src/index.js'), 2500, 'index-a')
    for i in range(3):
        road.write(j(home, 'projects/webapp/node_modules', f'mod{i}', 'index.js'), 9000 + i * 4000,
                   f'mod{i}')
    road.write(j(home, 'projects/api/package.json'), 300, 'pkg-b')
    road.write(j(home, 'projects/api/node_modules/express/index.js'), 30000, 'express')
    road.write(j(home, 'projects/api/server.js'), 1800, 'server')
    for i in range(3):
        road.write(j(home, '.cache/pip/http/v2', f'p{i}'), 20000 + i * 9000, f'pip{i}')
    road.write(j(home, 'Documents/notes.txt'), 5000, 'notes')


class Session(road.Session):
    '''The deletion road's session with the accessibility bus instead of a
    private session bus of its own: the bus is the one dbus-run-session made
    for this test, so the test's own AT-SPI client meets the program there.'''

    def __init__(self, app, shots, root):
        super().__init__(app, shots, root)
        self.drop = []  # nothing is deleted here; the program runs as the test does
        del self.env['NO_AT_BRIDGE']
        self.env['DBUS_SESSION_BUS_ADDRESS'] = os.environ['DBUS_SESSION_BUS_ADDRESS']

    def start_accessibility_bus(self):
        # The launcher reads the desktop's settings schemas, which the
        # program's own environment keeps out of reach.
        env = dict(self.env, XDG_DATA_DIRS='/usr/local/share:/usr/share')
        p = subprocess.Popen([BUS_LAUNCHER, '--launch-immediately'], env=env,
                             stdout=subprocess.DEVNULL,
                             stderr=open(os.path.join(self.root, 'bus-launcher.log'), 'w'))
        self.procs.append(p)
        # Asked without starting anything: were the name called for, the
        # session bus would start a second launcher of its own, whose
        # processes outlive the test.
        done = wait_until_ok(lambda: 'true' in subprocess.run(
            ['gdbus', 'call', '--session', '--dest', 'org.freedesktop.DBus', '--object-path',
             '/org/freedesktop/DBus', '--method', 'org.freedesktop.DBus.NameHasOwner',
             'org.a11y.Bus'], env=self.env, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
            text=True).stdout, 10)
        check(done, 'the accessibility bus did not answer within 10 s: ' + self.launcher_log())

    def launcher_log(self):
        try:
            with open(os.path.join(self.root, 'bus-launcher.log'), errors='replace') as f:
                return f.read()[-2000:]
        except OSError:
            return ''

    def accessible(self):
        def found():
            desktop = pyatspi.Registry.getDesktop(0)
            for i in range(desktop.childCount):
                a = desktop.getChildAtIndex(i)
                if a is not None and a.name == 'quillet':
                    return a
            return None
        # The client keeps what it was told, as a screen reader's does, and
        # relies on the program's change events to stay current: a missing
        # event shows here as a stale name or state.
        return wait_for(found, 'the program on the accessibility bus', 20)


def wait_until_ok(fn, timeout):
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        try:
            value = fn()
        except (OSError, subprocess.SubprocessError):
            value = None
        if value:
            return value
        time.sleep(0.1)
    return None


def extents_match(acc, target, s, what):
    '''The object's screen rectangle is the frame's target moved by the
    window's place on the screen.'''
    e = acc.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
    _, _, x, y, w, h = target
    want = (s.win_x + int(x), s.win_y + int(y), int(w + 0.5), int(h + 0.5))
    got = (e.x, e.y, e.width, e.height)
    check(all(abs(a - b) <= 1 for a, b in zip(got, want)),
          f'{what}: extents {got}, the frame drew it at {want}')


# ---------------------------------------------------------------------------
# The road
# ---------------------------------------------------------------------------

def toolbar_and_regions(s, screen):
    top = screen.top()
    roles = [role(c) for c in top]
    check(roles[:2] == [pyatspi.ROLE_TOOL_BAR, pyatspi.ROLE_LIST] and
          roles[2:4] == [pyatspi.ROLE_PANEL, pyatspi.ROLE_PANEL],
          f'the canvas holds {[describe(c) for c in top]}')
    tb = screen.toolbar()
    buttons = kids(tb)
    check([b.name for b in buttons] == ['Rescan', 'Settings', 'About'] and
          all(role(b) == pyatspi.ROLE_PUSH_BUTTON for b in buttons),
          f'the toolbar holds {[describe(b) for b in buttons]}')
    st = s.state()
    for b, act in zip(buttons, (5, road.APP_MENU, road.ABOUT)):
        live_control(b)
        check(has(b, pyatspi.STATE_SHOWING), f'{describe(b)} is not SHOWING')
        click_action(b)
        extents_match(b, st.find(act)[0], s, describe(b))
        check(b.getIndexInParent() == buttons.index(b) and b.parent == tb,
              f'{describe(b)} says it is child {b.getIndexInParent()} of {describe(b.parent)}')
    check('F5' in (click_action(buttons[0]).getKeyBinding(0) or ''),
          f'Rescan\'s key binding is {click_action(buttons[0]).getKeyBinding(0)!r}')


def sidebar(s, screen, st):
    side = screen.sidebar()
    items = kids(side)
    check(all(role(i) == pyatspi.ROLE_LIST_ITEM for i in items),
          f'the sidebar holds {[describe(i) for i in items]}')
    check(items[0].name == 'Overview' and has(items[0], pyatspi.STATE_SELECTED,
                                              pyatspi.STATE_SELECTABLE),
          f'the first item is {describe(items[0])} {states_text(items[0])}')
    check(side.querySelection().nSelectedChildren == 1 and
          side.querySelection().getSelectedChild(0).name == 'Overview',
          'the list\'s selection is not the overview')
    total = sum(c['total'] for c in st.cats.values())
    check(items[0].description == road.fmt_bytes(total),
          f'the overview is described as {items[0].description!r}, the disk says '
          f'{road.fmt_bytes(total)}')
    by_name = {i.name: i for i in items}
    for cat_id, title in ((NODE_MODULES, 'node_modules'), (PIP_CACHE, 'pip cache')):
        check(title in by_name, f'no sidebar item named {title!r}: {sorted(by_name)}')
        item = by_name[title]
        want = road.fmt_bytes(st.cats[cat_id]['total'])
        check(item.description == want,
              f'{title!r} is described as {item.description!r}, the frame says {want}')
        live_control(item)
        check(lacks(item, pyatspi.STATE_SELECTED), f'{title!r} reads SELECTED')
    return items


def open_node_modules(s, screen, items):
    side = screen.sidebar()
    index = [i.name for i in items].index('node_modules')
    check(side.querySelection().selectChild(index), 'selectChild was refused')
    st = s.wait_state(lambda x: x.fields['selection'] == NODE_MODULES and len(x.items) == 2,
                      'the node_modules page')
    wait_for(lambda: screen.page().name == 'node_modules', 'the page named node_modules')
    item = kids(screen.sidebar())[index]
    wait_for(lambda: has(item, pyatspi.STATE_SELECTED), 'the node_modules item SELECTED')
    page = screen.page()
    for name in ('Open folder', 'Safe ones', 'None'):
        b = named(page, pyatspi.ROLE_PUSH_BUTTON, name)
        live_control(b)
        click_action(b)
    entries = [c for c in kids(page) if role(c) == pyatspi.ROLE_PANEL]
    check(len(entries) == 1, f'the page holds {[describe(c) for c in kids(page)]}')
    rows = kids(entries[0])
    check(len(rows) == 4, f'the entries list holds {[describe(r) for r in rows]}, not 2 x 2')
    boxes = rows[0::2]
    reveals = rows[1::2]
    paths = [i['path'] for i in st.items]
    for k, (box, reveal) in enumerate(zip(boxes, reveals)):
        item = st.items[k]
        check(role(box) == pyatspi.ROLE_CHECK_BOX, f'row {k} is {describe(box)}')
        # Project folders are named by their project: "webapp/node_modules".
        check(box.name.endswith('/node_modules') and item['path'].endswith('/' + box.name),
              f'entry {k} is named {box.name!r}, its path is {item["path"]}')
        check(road.fmt_bytes(item['size']) in box.description and 'Safe' in box.description,
              f'entry {k} is described as {box.description!r} (size {item["size"]})')
        live_control(box)
        check(has(box, pyatspi.STATE_CHECKABLE, pyatspi.STATE_SHOWING) and
              lacks(box, pyatspi.STATE_CHECKED), f'entry {k}: {states_text(box)}')
        click_action(box)
        extents_match(box, st.find(road.TOGGLE_ITEM, k)[0], s, f'entry {k}')
        check(role(reveal) == pyatspi.ROLE_PUSH_BUTTON and reveal.name == 'Show in file manager'
              and paths[k] in reveal.description, f'row {k}\'s second object is '
              f'{describe(reveal)} ({reveal.description!r})')
        click_action(reveal)
    clean = named(screen.footer(), pyatspi.ROLE_PUSH_BUTTON, 'Delete permanently')
    check(lacks(clean, pyatspi.STATE_SENSITIVE, pyatspi.STATE_ENABLED),
          f'"Delete permanently" with nothing ticked: {states_text(clean)}')
    return st, boxes


def tick(s, screen, st, boxes):
    box = boxes[0]
    check(click_action(box).doAction(0), 'the check box\'s click was refused')
    st = s.wait_state(lambda x: x.int('selected_count') == 1, 'the entry to be ticked')
    check(st.items[0]['selected'], 'the first entry is not the one ticked')
    wait_for(lambda: has(box, pyatspi.STATE_CHECKED), 'the check box to read CHECKED')
    check(lacks(boxes[1], pyatspi.STATE_CHECKED), 'the other entry reads CHECKED')
    footer = screen.footer()
    label = [c for c in kids(footer) if role(c) == pyatspi.ROLE_LABEL]
    check(len(label) == 1, f'the footer holds {[describe(c) for c in kids(footer)]}')
    want = road.fmt_bytes(st.items[0]['size'])
    wait_for(lambda: label[0].name == want, f'the footer label to say {want}')
    check(label[0].description == '1 item(s) selected',
          f'the footer label is described as {label[0].description!r}')
    check(st.int('selected_size') == st.items[0]['size'], 'the frame\'s footer disagrees')
    clean = named(footer, pyatspi.ROLE_PUSH_BUTTON, 'Delete permanently')
    wait_for(lambda: has(clean, pyatspi.STATE_SENSITIVE, pyatspi.STATE_ENABLED),
             '"Delete permanently" to turn sensitive')
    return clean


def confirm_and_cancel(s, screen, clean, boxes):
    box_path = boxes[0].path
    check(click_action(clean).doAction(0), '"Delete permanently" refused its click')
    s.wait_state(lambda x: x.int('overlay') == road.OVERLAY_DIALOG, 'the confirmation')
    dialog = wait_for(screen.overlay, 'the confirmation in the tree')
    check(role(dialog) == pyatspi.ROLE_ALERT and dialog.name == 'Delete permanently?',
          f'the confirmation is {describe(dialog)}')
    check(has(dialog, pyatspi.STATE_MODAL), f'the confirmation: {states_text(dialog)}')
    check('This cannot be undone.' in dialog.description and '1 item(s)' in dialog.description,
          f'the confirmation says {dialog.description!r}')
    check([b.name for b in kids(dialog)] == ['Delete permanently', 'Cancel'],
          f'the confirmation holds {[describe(b) for b in kids(dialog)]}')
    rescan = kids(screen.toolbar())[0]
    wait_for(lambda: lacks(rescan, pyatspi.STATE_SHOWING), 'Rescan to stop SHOWING behind the dialog')
    s.shot('confirmation')
    cancel = named(dialog, pyatspi.ROLE_PUSH_BUTTON, 'Cancel')
    live_control(cancel)
    check(has(cancel, pyatspi.STATE_SHOWING), f'Cancel: {states_text(cancel)}')
    check(click_action(cancel).doAction(0), 'Cancel refused its click')
    s.wait_state(lambda x: x.int('overlay') == road.OVERLAY_NONE, 'the dialog to close')
    wait_for(lambda: screen.overlay() is None, 'the dialog to leave the tree')
    check(has(dialog, pyatspi.STATE_DEFUNCT), f'the closed dialog reads {states_text(dialog)}')
    time.sleep(0.5)
    st = s.state()
    check(st.fields['cleaning'] == '0' and st.int('freed') == 0,
          f'after Cancel: cleaning={st.fields["cleaning"]}, freed={st.fields["freed"]}')
    entries = [c for c in kids(screen.page()) if role(c) == pyatspi.ROLE_PANEL][0]
    again = entries.getChildAtIndex(0)
    check(again.path == box_path, f'the check box came back as another object: {again.path} '
          f'after {box_path}')
    check(has(again, pyatspi.STATE_CHECKED, pyatspi.STATE_SHOWING),
          f'the ticked entry after Cancel: {states_text(again)}')


def settings(s, screen):
    button = named(screen.toolbar(), pyatspi.ROLE_PUSH_BUTTON, 'Settings')
    check(click_action(button).doAction(0), 'Settings refused its click')
    s.wait_state(lambda x: x.int('overlay') == road.OVERLAY_SETTINGS, 'the settings page')
    dialog = wait_for(screen.overlay, 'the settings dialog in the tree')
    check(role(dialog) == pyatspi.ROLE_DIALOG and dialog.name == 'Settings' and
          has(dialog, pyatspi.STATE_MODAL), f'settings is {describe(dialog)} {states_text(dialog)}')
    looks = named(dialog, pyatspi.ROLE_PANEL, 'Appearance')
    radios = kids(looks)
    check([r.name for r in radios] == ['Automatic', 'Light', 'Dark'] and
          all(role(r) == pyatspi.ROLE_RADIO_BUTTON for r in radios),
          f'appearance holds {[describe(r) for r in radios]}')
    check([has(r, pyatspi.STATE_CHECKED) for r in radios] == [False, True, False],
          'the stored theme (light) is not the one CHECKED: '
          f'{[states_text(r) for r in radios]}')
    languages = kids(named(dialog, pyatspi.ROLE_PANEL, 'Language'))
    check(len(languages) == 23 and all(role(r) == pyatspi.ROLE_RADIO_BUTTON for r in languages),
          f'{len(languages)} language choices')
    checked = [r.name for r in languages if has(r, pyatspi.STATE_CHECKED)]
    check(checked == ['English'], f'the languages CHECKED: {checked}')
    projects = named(dialog, pyatspi.ROLE_PANEL, 'Projects folder')
    named(projects, pyatspi.ROLE_PUSH_BUTTON, 'Choose …')
    label = [c for c in kids(projects) if role(c) == pyatspi.ROLE_LABEL]
    check(label and label[0].name == os.path.join(s.home, 'projects'),
          f'the projects folder reads {[describe(c) for c in label]}')
    fm = named(dialog, pyatspi.ROLE_PANEL, 'File manager')
    field = named(fm, pyatspi.ROLE_ENTRY, 'File manager')
    check(has(field, pyatspi.STATE_EDITABLE, pyatspi.STATE_SINGLE_LINE),
          f'the command field: {states_text(field)}')
    text = field.queryText()
    check(text.characterCount == 0 and text.getText(0, -1) == '',
          f'the command field holds {text.getText(0, -1)!r}')
    field.queryEditableText()  # offered, not used: an edit would be stored
    named(fm, pyatspi.ROLE_PUSH_BUTTON, 'Test')
    close = named(dialog, pyatspi.ROLE_PUSH_BUTTON, 'Close')
    s.shot('settings')
    check(click_action(close).doAction(0), 'Close refused its click')
    s.wait_state(lambda x: x.int('overlay') == road.OVERLAY_NONE, 'settings to close')
    wait_for(lambda: screen.overlay() is None, 'settings to leave the tree')


def announcement(s, screen):
    heard = []
    listener = lambda event: heard.append(str(event.any_data))  # noqa: E731
    pyatspi.Registry.registerEventListener(listener, 'object:announcement')
    try:
        before = s.state().int('scans')
        rescan = kids(screen.toolbar())[0]
        check(rescan.name == 'Rescan', f'the first toolbar button is {describe(rescan)}')
        check(click_action(rescan).doAction(0), 'Rescan refused its click')
        s.wait_state(lambda x: x.int('scans') > before and x.fields['scanning'] == '0',
                     'the rescan to end', 30)
        total = sum(c['total'] for c in s.state().cats.values())
        want = f'found in total: {road.fmt_bytes(total)}'
        wait_for(lambda: want in heard, f'the announcement {want!r} (heard {heard})')
    finally:
        pyatspi.Registry.deregisterEventListener(listener, 'object:announcement')


def focus_by_click(s, screen):
    st = s.state()
    index = st.cats[PIP_CACHE]['index']
    s.show_in_sidebar(index)
    s.focus()
    s.click(road.SELECT_CATEGORY, index, 'the pip cache row')
    s.wait_state(lambda x: x.fields['selection'] == PIP_CACHE, 'the pip cache page')
    item = [i for i in kids(screen.sidebar()) if i.name == 'pip cache'][0]
    wait_for(lambda: has(item, pyatspi.STATE_FOCUSED), 'the pip cache item to read FOCUSED')
    focused = [describe(c) for c in kids(screen.toolbar()) + kids(screen.sidebar())
               if has(c, pyatspi.STATE_FOCUSED)]
    check(focused == ["list item 'pip cache'"], f'objects reading FOCUSED: {focused}')
    check(lacks(screen.canvas(), pyatspi.STATE_FOCUSED), 'the canvas itself reads FOCUSED')


def keyboard_road(s, screen):
    '''The same road with keys only: Tab to the sidebar, arrows to
    node_modules, Enter opens it, Tab into its entries, Down to the second,
    Space ticks, Delete opens the confirmation with Cancel focused, Enter on
    Cancel closes it; FOCUSED follows every step.'''
    s.focus()

    def focused_in(*parents):
        return [c for p in parents for c in kids(p) if has(c, pyatspi.STATE_FOCUSED)]

    # Round the groups until the sidebar holds the focus.
    for _ in range(8):
        s.key('Tab')
        time.sleep(0.15)
        if focused_in(screen.sidebar()):
            break
    wait_for(lambda: len(focused_in(screen.sidebar())) == 1, 'one sidebar item FOCUSED by Tab')
    check(not focused_in(screen.toolbar()), 'a toolbar button reads FOCUSED as well')
    s.key('Home')
    for _ in range(40):
        f = focused_in(screen.sidebar())
        if f and f[0].name == 'node_modules':
            break
        s.key('Down')
        time.sleep(0.1)
    f = focused_in(screen.sidebar())
    check(f and f[0].name == 'node_modules',
          f'the arrows did not reach node_modules: {[describe(c) for c in f]}')
    s.key('Return')
    s.wait_state(lambda x: x.fields['selection'] == NODE_MODULES, 'the node_modules page')
    entries = wait_for(lambda: [c for c in kids(screen.page()) if role(c) == pyatspi.ROLE_PANEL],
                       'the entries of the page')[0]
    first, box = entries.getChildAtIndex(0), entries.getChildAtIndex(2)
    check(role(first) == pyatspi.ROLE_CHECK_BOX and role(box) == pyatspi.ROLE_CHECK_BOX,
          f'the entries hold {describe(first)} and {describe(box)}')
    was_checked = has(box, pyatspi.STATE_CHECKED)
    # Past the page's buttons to its entries.
    for _ in range(6):
        s.key('Tab')
        time.sleep(0.15)
        if has(first, pyatspi.STATE_FOCUSED):
            break
    wait_for(lambda: has(first, pyatspi.STATE_FOCUSED), 'the first entry FOCUSED by Tab')
    s.key('Down')
    wait_for(lambda: has(box, pyatspi.STATE_FOCUSED), 'the second entry FOCUSED by Down')
    check(lacks(first, pyatspi.STATE_FOCUSED), 'the first entry still reads FOCUSED')
    s.key('space')
    wait_for(lambda: has(box, pyatspi.STATE_CHECKED) != was_checked,
             'the second entry ticked by Space')
    check(not was_checked, 'the second entry was ticked before Space')
    s.key('Delete')
    dialog = wait_for(screen.overlay, 'the confirmation opened by Delete')
    check(role(dialog) == pyatspi.ROLE_ALERT, f'Delete opened {describe(dialog)}')
    cancel = named(dialog, pyatspi.ROLE_PUSH_BUTTON, 'Cancel')
    wait_for(lambda: has(cancel, pyatspi.STATE_FOCUSED), 'Cancel FOCUSED in the confirmation')
    s.key('Return')
    wait_for(lambda: screen.overlay() is None, 'the confirmation closed by Enter on Cancel')
    wait_for(lambda: has(box, pyatspi.STATE_FOCUSED), 'the focus back on the entry')
    check(s.state().int('freed') == 0, 'something was deleted by the keyboard road')


STEPS = [
    ('the canvas holds its regions; the toolbar\'s buttons are named, clickable and placed',
     'toolbar'),
    ('the sidebar lists the overview and the categories with their sizes', 'sidebar'),
    ('selecting node_modules shows its buttons and one check box per entry', 'page'),
    ('an entry ticked by its action reads CHECKED; the footer names the amount', 'tick'),
    ('the confirmation is a modal alert; Cancel closes it; the objects stay the same', 'confirm'),
    ('settings: radio buttons, languages, projects folder, command field', 'settings'),
    ('a rescan ends with an announcement', 'announcement'),
    ('a click puts FOCUSED on the sidebar item, not on the canvas', 'focus'),
    ('with keys only: Tab, arrows, Enter, Space tick an entry; Delete opens the confirmation '
     'on Cancel; Enter closes it; FOCUSED follows', 'keyboard'),
]


def run(app, shots):
    started = time.monotonic()
    check('DBUS_SESSION_BUS_ADDRESS' in os.environ,
          'run this test inside dbus-run-session: it needs a session bus of its own')
    road.empty_shots(shots)
    root = tempfile.mkdtemp(prefix='quillet-e2e-access-')
    s = Session(app, shots, root)
    SESSIONS.append(s)
    passed = 0
    try:
        for d in ('home/.config/Quillet', 'home/.cache', 'home/.local/share', 'runtime', 'state',
                  'sys-data', 'sys-config'):
            os.makedirs(os.path.join(root, d), exist_ok=True)
        os.chmod(os.path.join(root, 'runtime'), 0o700)
        home = s.home
        build_home(home)
        with open(os.path.join(home, '.config/Quillet/settings.json'), 'w') as f:
            json.dump({'language': 'en', 'theme': 'light',
                       'projects_root': os.path.join(home, 'projects'),
                       'file_manager_command': ''}, f)
        os.makedirs(os.path.join(home, '.config/gtk-3.0'))
        with open(os.path.join(home, '.config/gtk-3.0/settings.ini'), 'w') as f:
            f.write('[Settings]\ngtk-theme-name=Adwaita\n'
                    'gtk-application-prefer-dark-theme=false\n')
        before = road.manifest(home)

        s.start_display()
        s.start_accessibility_bus()
        s.start_app()
        st = s.wait_state(lambda x: x.fields['scanning'] == '0' and x.int('scans') >= 1
                          and NODE_MODULES in x.cats and x.cats[NODE_MODULES]['did_scan'],
                          'the first scan to end', 60)
        screen = Screen(s.accessible())
        s.shot('overview')

        def step(n):
            nonlocal passed
            passed += 1
            print(f'{passed}. {STEPS[n][0]}')

        toolbar_and_regions(s, screen)
        step(0)
        items = sidebar(s, screen, st)
        step(1)
        st, boxes = open_node_modules(s, screen, items)
        s.shot('node-modules')
        step(2)
        clean = tick(s, screen, st, boxes)
        step(3)
        confirm_and_cancel(s, screen, clean, boxes)
        step(4)
        settings(s, screen)
        step(5)
        announcement(s, screen)
        step(6)
        focus_by_click(s, screen)
        s.shot('focus')
        step(7)
        keyboard_road(s, screen)
        s.shot('keyboard')
        step(8)

        status = s.close_app()
        check(status == 0, f'the program ended with status {status}: ' + s.log())
        # The toolkit complains before it crashes: a focus record pointing at
        # an object that is gone shows first as warnings about weak references.
        complaints = [line for line in s.log().splitlines()
                      if '-CRITICAL **' in line or '-WARNING **' in line]
        check(not complaints, 'the toolkit complained: ' + ' | '.join(complaints[:5]))
        road.compare_manifest(before, road.manifest(home), [], home)
        passed += 1
        print(f'{passed}. the program ended with status 0, without a warning from the toolkit, '
              'and nothing in the home changed')
    except Exception as e:  # noqa: BLE001  (any error is one failed step, named)
        kind = '' if isinstance(e, Failure) else type(e).__name__ + ': '
        print(f'FAIL: {kind}{e}', file=sys.stderr)
        print(f'{passed} passed, 1 failed')
        return 1
    finally:
        s.stop_all()
        road.remove_own_root(root, 'quillet-e2e-access-')
    print(f'access: {time.monotonic() - started:.1f} s; screenshots in {shots}')
    print(f'{passed} passed, 0 failed')
    return 0


SESSIONS = []


def watchdog():
    '''A call that never returns shows where it hangs, stops what the test
    started and fails the test, before ctest's own timeout would leave the
    virtual display behind.'''
    faulthandler.dump_traceback(all_threads=False)
    print('FAIL: the test hung for 150 s (the stack above shows where)', file=sys.stderr)
    print('0 passed, 1 failed', flush=True)
    for s in SESSIONS:
        for p in s.procs:
            if p.poll() is None:
                p.kill()
    os._exit(1)


def main():
    timer = threading.Timer(150, watchdog)
    timer.daemon = True
    timer.start()
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    return run(os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2]))


if __name__ == '__main__':
    sys.exit(main())
