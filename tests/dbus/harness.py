'''Helpers for the desktop tests: a private home, stand-in services on the
private session bus, recording default applications, and the probe program.

Every test runs inside `dbus-run-session --config-file=session.conf` (a bus
of its own, which starts no service by itself) and on a virtual display of
its own (VirtualDisplay). Nothing here reads or writes the real home directory, and the only
folder ever removed is the one a test made with mkdtemp.
'''

import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

import dbus
import dbusmock

HERE = os.path.dirname(os.path.abspath(__file__))
STAND_INS = os.path.join(HERE, 'stand_ins')


def wait_until(predicate, timeout, step=0.02):
    '''Polls predicate until it is true or timeout seconds have passed;
    returns its last value.'''
    deadline = time.monotonic() + timeout
    while True:
        value = predicate()
        if value or time.monotonic() >= deadline:
            return value
        time.sleep(step)


class VirtualDisplay:
    '''An Xvfb server for the duration of a with-block, with DISPLAY pointing
    at it. The server picks a free display number itself (-displayfd), so
    tests running side by side never race for one. It never resets: by
    default the server starts over each time its last client leaves, and a
    program connecting meanwhile (the next test's, on a busy machine) is
    turned away.'''

    def __enter__(self):
        read_end, write_end = os.pipe()
        self.proc = subprocess.Popen(
            ['Xvfb', '-displayfd', str(write_end), '-nolisten', 'tcp', '-noreset', '-screen',
             '0', '800x600x24'], pass_fds=(write_end,), stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        os.close(write_end)
        with os.fdopen(read_end) as f:
            number = f.readline().strip()
        if not number:
            self.proc.kill()
            raise RuntimeError('Xvfb did not start')
        self.old = os.environ.get('DISPLAY')
        os.environ['DISPLAY'] = ':' + number
        return self

    def __exit__(self, *_):
        if self.old is None:
            os.environ.pop('DISPLAY', None)
        else:
            os.environ['DISPLAY'] = self.old
        self.proc.terminate()
        self.proc.wait()


class Home:
    '''A private home folder with HOME and the XDG folders inside it, plus the
    environment the probe runs with. GTK's settings file starts with a light
    theme, so the machine's own GTK settings never decide a result.'''

    def __init__(self):
        self.root = tempfile.mkdtemp(prefix='quillet-dbus-')
        self.home = os.path.join(self.root, 'home')
        self.config = os.path.join(self.home, '.config')
        self.data = os.path.join(self.home, '.local', 'share')
        self.bin = os.path.join(self.root, 'bin')
        # Folders the machine's own desktop files and defaults would come from:
        # empty, so only what a test installs can be launched.
        self.sys_data = os.path.join(self.root, 'sys-data')
        self.sys_config = os.path.join(self.root, 'sys-config')
        runtime = os.path.join(self.root, 'runtime')
        for d in (self.config, os.path.join(self.home, '.cache'), self.data, self.bin,
                  os.path.join(self.data, 'applications'), self.sys_data, self.sys_config,
                  runtime):
            os.makedirs(d, exist_ok=True)
        os.chmod(runtime, 0o700)
        self.env = dict(os.environ)
        self.env.update({
            'HOME': self.home,
            'XDG_CONFIG_HOME': self.config,
            'XDG_CACHE_HOME': os.path.join(self.home, '.cache'),
            'XDG_DATA_HOME': self.data,
            'XDG_RUNTIME_DIR': runtime,
            'XDG_DATA_DIRS': self.sys_data,
            'XDG_CONFIG_DIRS': self.sys_config,
            'PATH': self.bin + ':' + os.environ.get('PATH', '/usr/bin:/bin'),
            # No accessibility bus and no settings daemon: neither exists on
            # the private bus, and GTK should not go looking for them.
            'NO_AT_BRIDGE': '1',
            'GSETTINGS_BACKEND': 'memory',
            'GDK_BACKEND': 'x11',
        })
        self.env.pop('WAYLAND_DISPLAY', None)
        self.defaults = {}
        self.gtk_settings()

    def cleanup(self):
        base = os.path.realpath(tempfile.gettempdir())
        root = os.path.realpath(self.root)
        if os.path.dirname(root) == base and os.path.basename(root).startswith('quillet-dbus-'):
            shutil.rmtree(root, ignore_errors=True)

    def no_bus(self):
        '''Points the probe at a bus address where nothing listens.'''
        self.env['DBUS_SESSION_BUS_ADDRESS'] = 'unix:path=' + os.path.join(self.root, 'no-bus')

    def gtk_settings(self, theme='Adwaita', prefer_dark=False):
        '''Writes GTK's settings file, which GTK reads on a display that has no
        settings manager (as the test's own display has none).'''
        folder = os.path.join(self.config, 'gtk-3.0')
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, 'settings.ini'), 'w', encoding='utf-8') as f:
            f.write('[Settings]\n')
            f.write(f'gtk-theme-name={theme}\n')
            f.write(f'gtk-application-prefer-dark-theme={"true" if prefer_dark else "false"}\n')

    def recorder(self, name):
        '''Installs a program in the private PATH that appends its arguments
        to a log, NUL after each, one invocation per line. Returns the log.'''
        log = os.path.join(self.root, name + '.log')
        script = os.path.join(self.bin, name)
        with open(script, 'w', encoding='utf-8') as f:
            f.write('#!/bin/sh\n')
            f.write(f'{{ for a in "$@"; do printf "%s\\0" "$a"; done; echo; }} >> "{log}"\n')
        os.chmod(script, 0o755)
        return log

    def default_handler(self, desktop_id, display_name, mime_types):
        '''Installs a desktop application that records what it is asked to
        open (%u, so URIs arrive as they were given) and makes it the default
        for the MIME types. Returns its log.'''
        log = self.recorder(desktop_id)
        apps = os.path.join(self.data, 'applications')
        with open(os.path.join(apps, desktop_id + '.desktop'), 'w', encoding='utf-8') as f:
            f.write('[Desktop Entry]\nType=Application\n')
            f.write(f'Name={display_name}\n')
            f.write(f'Exec={os.path.join(self.bin, desktop_id)} %u\n')
            f.write('MimeType=' + ''.join(m + ';' for m in mime_types) + '\n')
            f.write('NoDisplay=true\n')
        for m in mime_types:
            self.defaults[m] = desktop_id + '.desktop'
        with open(os.path.join(self.config, 'mimeapps.list'), 'w', encoding='utf-8') as f:
            f.write('[Default Applications]\n')
            for m, app in sorted(self.defaults.items()):
                f.write(f'{m}={app}\n')
        return log


def read_invocations(log):
    '''The recorded invocations, each a list of arguments as bytes.'''
    try:
        with open(log, 'rb') as f:
            data = f.read()
    except FileNotFoundError:
        return []
    calls = []
    for line in data.split(b'\n')[:-1]:
        calls.append(line.split(b'\0')[:-1])
    return calls


def wait_for_invocations(log, count, timeout=5.0):
    '''Waits until the log holds at least count invocations; returns them all.'''
    wait_until(lambda: len(read_invocations(log)) >= count, timeout)
    return read_invocations(log)


class StandIn:
    '''One stand-in service (a dbusmock template from stand_ins/) on the
    private session bus, ready to answer once the constructor returns.'''

    def __init__(self, template, bus_name, path, parameters=None):
        self.bus_name = bus_name
        self.path = path
        self.proc = subprocess.Popen(
            [sys.executable, '-m', 'dbusmock', '--session', '--template',
             os.path.join(STAND_INS, template), '-p', json.dumps(parameters or {})],
            stdout=subprocess.DEVNULL)
        bus = dbus.SessionBus()
        if not wait_until(lambda: self.proc.poll() is None and bus.name_has_owner(bus_name), 10):
            self.stop()
            raise RuntimeError(f'stand-in {template} did not take {bus_name}')
        self.obj = bus.get_object(bus_name, path)
        self.mock = dbus.Interface(self.obj, dbusmock.MOCK_IFACE)
        # Answered only once the template has loaded, which happens before the
        # stand-in's main loop starts serving calls.
        self.mock.GetCalls()

    def interface(self, name):
        return dbus.Interface(self.obj, name)

    def calls(self):
        '''(method, [arguments]) for every call the service received.'''
        return [(str(method), list(args)) for _, method, args in self.mock.GetCalls()]

    def stop(self):
        if self.proc.poll() is None:
            self.proc.terminate()
            try:
                self.proc.wait(5)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()


def file_manager(parameters=None):
    return StandIn('file_manager.py', 'org.freedesktop.FileManager1',
                   '/org/freedesktop/FileManager1', parameters)


def settings_portal(parameters=None):
    return StandIn('settings_portal.py', 'org.freedesktop.portal.Desktop',
                   '/org/freedesktop/portal/desktop', parameters)


class Probe:
    '''The desktop_probe program, started with a home's environment.'''
    program = None  # set by the test runner from its command line

    @classmethod
    def run(cls, home, *args, timeout=30):
        '''Runs one command to its end; returns its stdout lines.'''
        done = subprocess.run([cls.program, *args], env=home.env, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=timeout, check=False)
        if done.returncode != 0:
            raise RuntimeError(f'desktop_probe {args!r} ended with {done.returncode}: '
                               f'{done.stderr.decode(errors="replace")}')
        return done.stdout.decode(errors='surrogateescape').splitlines()

    @classmethod
    def start(cls, home, *args, cwd=None):
        '''Starts a long-running command (watch, pick-folder) with a pipe on
        stdin.'''
        return subprocess.Popen([cls.program, *args], env=home.env, stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                bufsize=1, cwd=cwd)
