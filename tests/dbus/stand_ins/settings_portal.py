'''Stand-in settings portal for tests: owns org.freedesktop.portal.Desktop on
the session bus and serves org.freedesktop.portal.Settings.Read for the one
setting ("org.freedesktop.appearance", "color-scheme"); any other setting
gets the portal's "not found" error. The answer is shaped like the real
portal's: the value inside a variant inside the reply's variant.

Parameters (JSON, all optional):
  color-scheme  the number to answer (0 no preference, 1 dark, 2 light); default 0
  depth         how many variants wrap the value in the reply; default 2
  type          "u" (default), or "i" or "s" for a wrongly typed answer
  delay         seconds Read sleeps before answering, to stand for a hung portal

Control interface quillet.test.StandIn, for the test that drives it:
  SetColorScheme(u value)      changes the answer and emits SettingChanged
                               ("org.freedesktop.appearance", "color-scheme", <value>)
  SetColorSchemeQuietly(u)     changes the answer without a signal
  EmitSettingChanged(s, s, v)  emits SettingChanged with any namespace, key and value

Run with: python3 -m dbusmock --session --template settings_portal.py -p '{...}'
'''

import time

import dbus

BUS_NAME = 'org.freedesktop.portal.Desktop'
MAIN_OBJ = '/org/freedesktop/portal/desktop'
MAIN_IFACE = 'org.freedesktop.portal.Settings'
SYSTEM_BUS = False

CONTROL_IFACE = 'quillet.test.StandIn'
APPEARANCE = 'org.freedesktop.appearance'
COLOR_SCHEME = 'color-scheme'


def load(mock, parameters):
    mock.color_scheme = int(parameters.get('color-scheme', 0))
    depth = int(parameters.get('depth', 2))
    kind = str(parameters.get('type', 'u'))
    delay = float(parameters.get('delay', 0))

    def read(self, namespace, key):
        if delay:
            time.sleep(delay)
        if (namespace, key) != (APPEARANCE, COLOR_SCHEME):
            raise dbus.exceptions.DBusException('Requested setting not found',
                                                name='org.freedesktop.portal.Error.NotFound')
        # The reply's own "v" is the first level of wrapping.
        if kind == 'i':
            return dbus.Int32(self.color_scheme, variant_level=depth)
        if kind == 's':
            return dbus.String(str(self.color_scheme), variant_level=depth)
        return dbus.UInt32(self.color_scheme, variant_level=depth)

    def emit(self, namespace, key, value):
        self.EmitSignal(MAIN_IFACE, 'SettingChanged', 'ssv', [namespace, key, value])

    def set_scheme(self, value):
        self.color_scheme = int(value)
        emit(self, APPEARANCE, COLOR_SCHEME, dbus.UInt32(self.color_scheme))

    def set_scheme_quietly(self, value):
        self.color_scheme = int(value)

    mock.AddMethods(MAIN_IFACE, [
        ('Read', 'ss', 'v', read),
    ])
    mock.AddProperty(MAIN_IFACE, 'version', dbus.UInt32(1))
    mock.AddMethods(CONTROL_IFACE, [
        ('SetColorScheme', 'u', '', set_scheme),
        ('SetColorSchemeQuietly', 'u', '', set_scheme_quietly),
        ('EmitSettingChanged', 'ssv', '', emit),
    ])
