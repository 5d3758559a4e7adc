#!/usr/bin/python3
'''The desktop operations against stand-in services on a private bus: showing
items in the file manager (through the user's own command, the file-manager
service or the default handler), naming the file manager, opening links,
reading and watching the desktop's colour scheme, and the folder chooser.

usage (one group of tests, the way ctest runs it):
  dbus-run-session --config-file=session.conf -- \\
      /usr/bin/python3 desktop_test.py --probe PATH_TO_desktop_probe GROUP
The runner starts a virtual display of its own for the group.
'''

import argparse
import os
import queue
import subprocess
import sys
import threading
import time
import unittest
import urllib.parse

import dbus

from harness import (Home, Probe, VirtualDisplay, file_manager, read_invocations,
                     settings_portal, wait_for_invocations, wait_until)

# A build with ThreadSanitizer runs the probe several times slower; its test
# preset says by how much, and the upper bounds of the timed calls stretch by
# that much. They still stay below the time the stand-in would hold a call,
# so a time-out that does not work fails either way.
SLOWDOWN = float(os.environ.get('QUILLET_SANITIZER_SLOWDOWN', '1'))


def upper_bound(limit_ms, held_ms):
    return min(limit_ms * SLOWDOWN, held_ms - 250)


FOLDER_HANDLER = 'quillet-test-folders'
FOLDER_HANDLER_NAME = 'Recording Folder Opener'
BROWSER = 'quillet-test-browser'


def uri_to_path(uri):
    '''The path bytes a file URI stands for.'''
    assert uri.startswith('file:///'), uri
    return urllib.parse.unquote_to_bytes(uri[len('file://'):])


def opened_path(arg):
    '''The path a default handler was asked to open. GIO hands a local file's
    URI to the handler's %u either as that URI or as the plain path.'''
    if arg.startswith(b'file://'):
        return uri_to_path(arg.decode('ascii'))
    return arg


class DesktopTest(unittest.TestCase):
    # Clean-ups rather than tearDown, so that they run (last first) also
    # when a setUp fails half-way.
    def setUp(self):
        self.home = Home()
        self.addCleanup(self.home.cleanup)
        # The stand-ins and tools this process starts live in the private
        # home as well.
        saved_environ = dict(os.environ)
        self.addCleanup(lambda: (os.environ.clear(), os.environ.update(saved_environ)))
        os.environ.update({k: self.home.env[k] for k in (
            'HOME', 'XDG_CONFIG_HOME', 'XDG_CACHE_HOME', 'XDG_DATA_HOME', 'XDG_RUNTIME_DIR')})
        self.stand_ins = []
        self.addCleanup(lambda: [s.stop() for s in self.stand_ins])

    def stop_when_done(self, proc):
        '''Kills a probe still running at the end of the test.'''
        def stop():
            if proc.poll() is None:
                proc.kill()
                proc.wait()
        self.addCleanup(stop)
        return proc

    def start(self, stand_in):
        self.stand_ins.append(stand_in)
        return stand_in

    def make_dir(self, *parts):
        path = os.path.join(os.fsencode(self.home.root), *[os.fsencode(p) for p in parts])
        os.makedirs(path, exist_ok=True)
        return path

    def make_file(self, folder, name):
        path = os.path.join(folder, os.fsencode(name))
        with open(path, 'wb') as f:
            f.write(b'x')
        return path

    def reveal(self, path, command=None):
        '''Runs reveal_in_file_manager; returns (result, milliseconds).'''
        args = ['reveal', path] + ([command] if command is not None else [])
        lines = Probe.run(self.home, *args)
        self.assertEqual(len(lines), 2, lines)
        self.assertIn(lines[0], ('true', 'false'))
        return lines[0] == 'true', int(lines[1])

    def folder_handler(self):
        return self.home.default_handler(FOLDER_HANDLER, FOLDER_HANDLER_NAME, ['inode/directory'])


# ---------------------------------------------------------------------------
# reveal_in_file_manager through the file-manager service
# ---------------------------------------------------------------------------

class RevealWithFileManager(DesktopTest):
    def test_a_folder_is_shown_with_ShowFolders_and_its_uri(self):
        fm = self.start(file_manager())
        handler = self.folder_handler()
        folder = self.make_dir('projects', 'app')
        ok, _ = self.reveal(folder)
        self.assertTrue(ok)
        calls = fm.calls()
        self.assertEqual(len(calls), 1, calls)
        method, args = calls[0]
        self.assertEqual(method, 'ShowFolders')
        self.assertEqual([str(u) for u in args[0]], ['file://' + folder.decode()])
        self.assertEqual(str(args[1]), '')
        time.sleep(0.3)
        self.assertEqual(read_invocations(handler), [], 'the default handler ran as well')

    def test_a_file_is_shown_with_ShowItems_and_its_uri(self):
        fm = self.start(file_manager())
        folder = self.make_dir('projects', 'app')
        item = self.make_file(folder, 'build.log')
        ok, _ = self.reveal(item)
        self.assertTrue(ok)
        calls = fm.calls()
        self.assertEqual(len(calls), 1, calls)
        self.assertEqual(calls[0][0], 'ShowItems')
        self.assertEqual([str(u) for u in calls[0][1][0]], ['file://' + item.decode()])
        self.assertEqual(str(calls[0][1][1]), '')

    def test_a_path_that_is_gone_is_shown_with_ShowItems(self):
        fm = self.start(file_manager())
        folder = self.make_dir('projects')
        gone = os.path.join(folder, b'removed-meanwhile')
        ok, _ = self.reveal(gone)
        self.assertTrue(ok)
        self.assertEqual([(m, [str(u) for u in a[0]]) for m, a in fm.calls()],
                         [('ShowItems', ['file://' + gone.decode()])])

    def test_a_link_to_a_folder_counts_as_a_folder(self):
        fm = self.start(file_manager())
        target = self.make_dir('real folder')
        link = os.path.join(os.fsencode(self.home.root), b'link to folder')
        os.symlink(target, link)
        ok, _ = self.reveal(link)
        self.assertTrue(ok)
        self.assertEqual([(m, [uri_to_path(str(u)) for u in a[0]]) for m, a in fm.calls()],
                         [('ShowFolders', [link])])

    def test_blanks_and_bytes_beyond_ascii_arrive_percent_encoded(self):
        fm = self.start(file_manager())
        # UTF-8 letters, a euro sign and two bytes that are not UTF-8 at all.
        folder = self.make_dir('with space', 'caf\u00e9 \u20ac')
        folder = os.path.join(folder, b'raw \xff\xfe')
        os.makedirs(folder)
        item = self.make_file(folder, '50% done #1?.txt')
        for path, method in ((folder, 'ShowFolders'), (item, 'ShowItems')):
            fm.mock.ClearCalls()
            ok, _ = self.reveal(path)
            self.assertTrue(ok)
            calls = fm.calls()
            self.assertEqual(len(calls), 1, calls)
            self.assertEqual(calls[0][0], method)
            uri = str(calls[0][1][0][0])
            self.assertTrue(uri.isascii(), uri)
            self.assertNotIn(' ', uri)
            for escaped in ('%20', '%C3%A9', '%E2%82%AC', '%FF%FE'):
                self.assertIn(escaped, uri)
            self.assertEqual(uri_to_path(uri), path)
        self.assertIn('50%25%20done%20%231%3F.txt', uri)

    def test_without_the_service_a_folder_goes_to_the_default_handler(self):
        handler = self.folder_handler()
        folder = self.make_dir('projects', 'my app')
        ok, _ = self.reveal(folder)
        self.assertTrue(ok)
        calls = wait_for_invocations(handler, 1)
        self.assertEqual(len(calls), 1, calls)
        self.assertEqual(len(calls[0]), 1, calls)
        self.assertEqual(opened_path(calls[0][0]), folder)

    def test_without_the_service_a_file_opens_its_parent_folder(self):
        handler = self.folder_handler()
        folder = self.make_dir('projects', 'my app')
        item = self.make_file(folder, 'core.1234')
        ok, _ = self.reveal(item)
        self.assertTrue(ok)
        calls = wait_for_invocations(handler, 1)
        self.assertEqual([opened_path(c[0]) for c in calls], [folder])

    def test_without_any_bus_the_default_handler_is_used(self):
        self.home.no_bus()
        handler = self.folder_handler()
        folder = self.make_dir('projects')
        item = self.make_file(folder, 'a.txt')
        ok, _ = self.reveal(item)
        self.assertTrue(ok)
        calls = wait_for_invocations(handler, 1)
        self.assertEqual([opened_path(c[0]) for c in calls], [folder])

    def test_without_service_or_handler_nothing_answers(self):
        folder = self.make_dir('projects')
        ok, _ = self.reveal(folder)
        self.assertFalse(ok)
        ok, _ = self.reveal(self.make_file(folder, 'a.txt'))
        self.assertFalse(ok)

    def test_a_hung_file_manager_costs_two_seconds_then_the_handler_opens(self):
        fm = self.start(file_manager({'delay': 6}))
        handler = self.folder_handler()
        folder = self.make_dir('projects')
        ok, ms = self.reveal(folder)
        self.assertTrue(ok)
        # Without the time-out the stand-in would hold the call for six seconds.
        self.assertGreaterEqual(ms, 1900)
        self.assertLess(ms, upper_bound(3000, held_ms=6000))
        self.assertEqual([m for m, _ in fm.calls()], ['ShowFolders'])
        calls = wait_for_invocations(handler, 1)
        self.assertEqual([opened_path(c[0]) for c in calls], [folder])


# ---------------------------------------------------------------------------
# reveal_in_file_manager through the user's own command
# ---------------------------------------------------------------------------

class RevealWithUserCommand(DesktopTest):
    def test_the_command_is_split_before_every_percent_s_is_replaced(self):
        fm = self.start(file_manager())
        log = self.home.recorder('my-files')
        folder = self.make_dir('my projects', 'two  blanks')
        ok, _ = self.reveal(folder, 'my-files --select %s --pair=%s:%s')
        self.assertTrue(ok)
        calls = wait_for_invocations(log, 1)
        self.assertEqual(calls, [[b'--select', folder, b'--pair=' + folder + b':' + folder]])
        self.assertEqual(fm.calls(), [], 'the file-manager service was asked as well')

    def test_a_file_is_passed_as_it_is(self):
        log = self.home.recorder('my-files')
        item = self.make_file(self.make_dir('a b'), "it's \"quoted\" $HOME.txt")
        ok, _ = self.reveal(item, "my-files '%s'")
        self.assertTrue(ok)
        self.assertEqual(wait_for_invocations(log, 1), [[item]])

    def test_a_program_that_does_not_exist_gives_false_without_the_bus(self):
        fm = self.start(file_manager())
        handler = self.folder_handler()
        folder = self.make_dir('projects')
        ok, _ = self.reveal(folder, 'quillet-no-such-file-manager --select %s')
        self.assertFalse(ok)
        self.assertEqual(fm.calls(), [])
        time.sleep(0.3)
        self.assertEqual(read_invocations(handler), [])

    def test_a_command_that_cannot_be_split_gives_false_without_the_bus(self):
        fm = self.start(file_manager())
        log = self.home.recorder('my-files')
        ok, _ = self.reveal(self.make_dir('projects'), "my-files 'unclosed %s")
        self.assertFalse(ok)
        self.assertEqual(fm.calls(), [])
        self.assertEqual(read_invocations(log), [])


# ---------------------------------------------------------------------------
# detect_file_manager
# ---------------------------------------------------------------------------

class DetectFileManager(DesktopTest):
    def test_the_owner_of_the_service_is_named(self):
        fm = self.start(file_manager({'process_name': 'stand-in-files'}))
        self.folder_handler()
        with open(f'/proc/{fm.proc.pid}/comm', encoding='utf-8') as f:
            self.assertEqual(f.read().strip(), 'stand-in-files')
        self.assertEqual(Probe.run(self.home, 'detect'), ['[stand-in-files]'])

    def test_without_the_service_the_default_application_is_named(self):
        self.folder_handler()
        self.assertEqual(Probe.run(self.home, 'detect'), [f'[{FOLDER_HANDLER_NAME}]'])

    def test_without_any_bus_the_default_application_is_named(self):
        self.home.no_bus()
        self.folder_handler()
        self.assertEqual(Probe.run(self.home, 'detect'), [f'[{FOLDER_HANDLER_NAME}]'])

    def test_with_neither_the_name_is_empty(self):
        self.assertEqual(Probe.run(self.home, 'detect'), ['[]'])


# ---------------------------------------------------------------------------
# open_url
# ---------------------------------------------------------------------------

class OpenUrl(DesktopTest):
    def test_a_link_reaches_the_default_handler_for_https(self):
        browser = self.home.default_handler(BROWSER, 'Recording Browser',
                                            ['x-scheme-handler/https'])
        folders = self.folder_handler()
        url = 'https://example.org/quillet/help?topic=file%20manager&x=1#top'
        self.assertEqual(Probe.run(self.home, 'open-url', url), ['done'])
        self.assertEqual(wait_for_invocations(browser, 1), [[url.encode()]])
        self.assertEqual(read_invocations(folders), [])

    def test_without_a_handler_nothing_happens(self):
        folders = self.folder_handler()
        self.assertEqual(Probe.run(self.home, 'open-url', 'https://example.org/'), ['done'])
        time.sleep(0.3)
        self.assertEqual(read_invocations(folders), [])


# ---------------------------------------------------------------------------
# prefers_dark
# ---------------------------------------------------------------------------

class PrefersDark(DesktopTest):
    def prefers_dark(self):
        lines = Probe.run(self.home, 'prefers-dark')
        self.assertEqual(len(lines), 2, lines)
        self.assertIn(lines[0], ('dark', 'light'))
        return lines[0], int(lines[1])

    def test_one_is_dark(self):
        self.start(settings_portal({'color-scheme': 1}))
        self.assertEqual(self.prefers_dark()[0], 'dark')

    def test_two_is_light_even_with_a_dark_gtk_theme(self):
        self.start(settings_portal({'color-scheme': 2}))
        self.home.gtk_settings(theme='Adwaita-dark', prefer_dark=True)
        self.assertEqual(self.prefers_dark()[0], 'light')

    def test_no_preference_falls_back_to_the_gtk_theme_name(self):
        self.start(settings_portal({'color-scheme': 0}))
        self.home.gtk_settings(theme='Adwaita-Dark')
        self.assertEqual(self.prefers_dark()[0], 'dark')
        self.home.gtk_settings(theme='Adwaita')
        self.assertEqual(self.prefers_dark()[0], 'light')

    def test_no_preference_falls_back_to_gtks_dark_preference(self):
        self.start(settings_portal({'color-scheme': 0}))
        self.home.gtk_settings(theme='Adwaita', prefer_dark=True)
        self.assertEqual(self.prefers_dark()[0], 'dark')

    def test_an_unknown_number_falls_back_to_gtk(self):
        self.start(settings_portal({'color-scheme': 7}))
        self.home.gtk_settings(theme='Plain-DARK')
        self.assertEqual(self.prefers_dark()[0], 'dark')

    def test_variants_are_unwrapped_at_any_depth(self):
        for depth in (1, 2, 3, 5):
            for scheme, expected in ((1, 'dark'), (2, 'light')):
                portal = settings_portal({'color-scheme': scheme, 'depth': depth})
                try:
                    # The GTK side says the opposite, so only the portal's
                    # answer can give the expected result.
                    self.home.gtk_settings(theme='Adwaita' if scheme == 1 else 'Adwaita-dark')
                    self.assertEqual(self.prefers_dark()[0], expected, f'depth {depth}')
                finally:
                    portal.stop()
                    wait_until(lambda: not dbus.SessionBus().name_has_owner(portal.bus_name), 5)

    def test_a_wrongly_typed_answer_falls_back_to_gtk(self):
        for kind in ('i', 's'):
            portal = settings_portal({'color-scheme': 2, 'type': kind})
            try:
                self.home.gtk_settings(theme='Adwaita-Dark')
                self.assertEqual(self.prefers_dark()[0], 'dark', kind)
            finally:
                portal.stop()
                wait_until(lambda: not dbus.SessionBus().name_has_owner(portal.bus_name), 5)

    def test_without_the_portal_gtk_answers(self):
        self.home.gtk_settings(theme='Adwaita-Dark')
        self.assertEqual(self.prefers_dark()[0], 'dark')
        self.home.gtk_settings(theme='Adwaita')
        self.assertEqual(self.prefers_dark()[0], 'light')

    def test_without_any_bus_gtk_answers(self):
        self.home.no_bus()
        self.home.gtk_settings(theme='Adwaita-Dark')
        self.assertEqual(self.prefers_dark()[0], 'dark')
        self.home.gtk_settings(theme='Adwaita', prefer_dark=True)
        self.assertEqual(self.prefers_dark()[0], 'dark')
        self.home.gtk_settings(theme='Adwaita')
        self.assertEqual(self.prefers_dark()[0], 'light')

    def test_a_hung_portal_costs_half_a_second_then_gtk_answers(self):
        self.start(settings_portal({'color-scheme': 2, 'delay': 5}))
        self.home.gtk_settings(theme='Adwaita-Dark')
        answer, ms = self.prefers_dark()
        self.assertEqual(answer, 'dark')
        # Without the time-out the stand-in would hold the call for five seconds.
        self.assertGreaterEqual(ms, 450)
        self.assertLess(ms, upper_bound(1000, held_ms=5000))


# ---------------------------------------------------------------------------
# watch
# ---------------------------------------------------------------------------

class WatchColorScheme(DesktopTest):
    def setUp(self):
        super().setUp()
        self.portal = self.start(settings_portal({'color-scheme': 2}))
        self.control = self.portal.interface('quillet.test.StandIn')
        self.watcher = self.stop_when_done(Probe.start(self.home, 'watch'))
        # Lines are read on a thread of their own, so a line that never comes
        # fails the test after a while instead of hanging it.
        self.lines = queue.Queue()
        self.reader = threading.Thread(target=self.read_lines, daemon=True)
        self.reader.start()
        self.assertEqual(self.next_line(), 'watching')

    def read_lines(self):
        for line in self.watcher.stdout:
            self.lines.put(line.strip())
        self.lines.put(None)

    def finish(self):
        '''Closes the watcher's stdin, waits for it to end and returns the
        lines it printed that were not read yet.'''
        self.watcher.stdin.close()
        self.watcher.wait(10)
        self.reader.join(10)
        rest = []
        while (line := self.lines.get(timeout=1)) is not None:
            rest.append(line)
        return rest

    def next_line(self):
        try:
            line = self.lines.get(timeout=10)
        except queue.Empty:
            self.fail('the watcher printed nothing within 10 seconds')
        if line is None:
            self.fail('the watcher ended early: ' + self.watcher.stderr.read())
        return line

    def test_a_change_of_the_color_scheme_calls_the_watcher(self):
        self.control.SetColorScheme(dbus.UInt32(1))
        self.assertEqual(self.next_line(), 'changed dark')
        self.control.SetColorScheme(dbus.UInt32(2))
        self.assertEqual(self.next_line(), 'changed light')
        self.assertEqual(self.finish(), [])

    def test_other_settings_do_not_call_the_watcher(self):
        self.control.EmitSettingChanged('org.freedesktop.appearance', 'accent-color',
                                        dbus.Struct((1.0, 0.0, 0.0), signature='ddd',
                                                    variant_level=1))
        self.control.EmitSettingChanged('org.freedesktop.appearance', 'contrast',
                                        dbus.UInt32(1, variant_level=1))
        self.control.EmitSettingChanged('org.gnome.desktop.interface', 'color-scheme',
                                        dbus.String('prefer-dark', variant_level=1))
        # A signal with arguments of another shape is ignored, not misread.
        self.portal.mock.EmitSignal('org.freedesktop.portal.Settings', 'SettingChanged', 'ss',
                                    ['org.freedesktop.appearance', 'color-scheme'])
        # Signals from one sender arrive in order: once the watcher has seen
        # this one, it has seen (and ignored) all of the above.
        self.control.SetColorScheme(dbus.UInt32(1))
        self.assertEqual(self.next_line(), 'changed dark')
        self.assertEqual(self.finish(), [])
        self.assertEqual(self.watcher.returncode, 0)

    def test_the_watcher_reads_the_preference_afresh(self):
        # The signal's value is not what counts: the watcher asks again.
        self.control.SetColorSchemeQuietly(dbus.UInt32(1))
        self.control.EmitSettingChanged('org.freedesktop.appearance', 'color-scheme',
                                        dbus.UInt32(2, variant_level=1))
        self.assertEqual(self.next_line(), 'changed dark')
        self.assertEqual(self.finish(), [])


# ---------------------------------------------------------------------------
# pick_folder
# ---------------------------------------------------------------------------

class FolderChooser(DesktopTest):
    '''The chooser is driven with the keyboard, as a person would: it opens in
    the program's working folder (GTK's "cwd" start-up mode, set in a
    settings file of the private home), Return takes the folder shown and
    Escape cancels.'''

    def setUp(self):
        super().setUp()
        # The chooser's own settings need their schemas from the system.
        self.home.env['XDG_DATA_DIRS'] = '/usr/local/share:/usr/share'
        self.home.env['GSETTINGS_BACKEND'] = 'keyfile'
        folder = os.path.join(self.home.config, 'glib-2.0', 'settings')
        os.makedirs(folder)
        with open(os.path.join(folder, 'keyfile'), 'w', encoding='utf-8') as f:
            f.write("[org/gtk/settings/file-chooser]\nstartup-mode='cwd'\n")
        self.folder = os.path.join(self.home.root, 'projects root \u00e9')
        os.makedirs(os.path.join(self.folder, 'inner'))
        self.chooser = self.stop_when_done(
            Probe.start(self.home, 'pick-folder', cwd=self.folder))

    def window(self):
        '''The chooser's window, once it is on screen.'''
        def find():
            done = subprocess.run(['xdotool', 'search', '--onlyvisible', '--pid',
                                   str(self.chooser.pid)], capture_output=True, text=True,
                                  check=False)
            return done.stdout.split()
        found = wait_until(find, 10, step=0.1)
        if not found:
            # Say what the chooser's program did, so that a failure can be
            # understood from the log alone.
            ended = self.chooser.poll()
            if ended is None:
                self.chooser.kill()
            _, err = self.chooser.communicate(timeout=10)
            self.fail(f'no chooser window appeared; the program '
                      f'{"was still running" if ended is None else f"had ended with {ended}"}'
                      f'; it said: {err[-1500:]!r}')
        return found[0]

    def press(self, window, key):
        '''Presses key until the chooser has ended. A chooser still loading its
        folder (slow when the machine is busy) drops keys, so the key is
        pressed again, as a person would, up to five times.'''
        for _ in range(5):
            time.sleep(1.0)
            subprocess.run(['xdotool', 'windowfocus', '--sync', window], check=False)
            time.sleep(0.2)
            subprocess.run(['xdotool', 'key', key], check=True)
            if wait_until(lambda: self.chooser.poll() is not None, 2.0, step=0.05):
                return

    def test_the_chooser_returns_the_folder_taken(self):
        window = self.window()
        name = subprocess.run(['xdotool', 'getwindowname', window], capture_output=True,
                              text=True, check=True).stdout.strip()
        self.assertEqual(name, 'Choose folder')
        self.press(window, 'Return')
        out, _ = self.chooser.communicate(timeout=10)
        self.assertEqual(out.splitlines(), [f'[{self.folder}]'])

    def test_cancelling_gives_nothing(self):
        self.press(self.window(), 'Escape')
        out, _ = self.chooser.communicate(timeout=10)
        self.assertEqual(out.splitlines(), ['[]'])


GROUPS = [RevealWithFileManager, RevealWithUserCommand, DetectFileManager, OpenUrl, PrefersDark,
          WatchColorScheme, FolderChooser]


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument('--probe', required=True)
    ap.add_argument('group', choices=[g.__name__ for g in GROUPS])
    args = ap.parse_args()
    if not os.environ.get('DBUS_SESSION_BUS_ADDRESS'):
        print('desktop_test.py runs inside dbus-run-session', file=sys.stderr)
        return 2
    Probe.program = os.path.abspath(args.probe)
    group = next(g for g in GROUPS if g.__name__ == args.group)
    with VirtualDisplay():
        suite = unittest.defaultTestLoader.loadTestsFromTestCase(group)
        result = unittest.TextTestRunner(verbosity=2).run(suite)
    return 0 if result.wasSuccessful() and result.testsRun > 0 else 1


if __name__ == '__main__':
    sys.exit(main())
