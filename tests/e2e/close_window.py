#!/usr/bin/python3
"""Asks a window to close the way a window manager's close button does: a
WM_DELETE_WINDOW client message. Works on a bare X server without a window
manager, so the end-to-end tests need none.

usage: close_window.py WINDOW_ID
"""
import sys

from Xlib import X, display
from Xlib.protocol import event


def main() -> int:
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    d = display.Display()
    win = d.create_resource_object("window", int(sys.argv[1], 0))
    protocols = d.intern_atom("WM_PROTOCOLS")
    delete = d.intern_atom("WM_DELETE_WINDOW")
    msg = event.ClientMessage(window=win, client_type=protocols,
                              data=(32, [delete, X.CurrentTime, 0, 0, 0]))
    win.send_event(msg, event_mask=X.NoEventMask)
    d.flush()
    d.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
