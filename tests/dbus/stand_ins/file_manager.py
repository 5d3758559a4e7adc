'''Stand-in file manager for tests: owns org.freedesktop.FileManager1 on the
session bus and answers ShowFolders, ShowItems and ShowItemProperties without
doing anything. dbusmock records every call, so a test reads back exactly the
URIs it was sent (org.freedesktop.DBus.Mock.GetCalls).

Parameters (JSON, all optional):
  process_name  the short program name to take (what /proc/<pid>/comm shows),
                so a test can tell this process apart from any other python3
  delay         seconds every method sleeps before answering, to stand for a
                file manager that hangs

Run with: python3 -m dbusmock --session --template file_manager.py -p '{...}'
'''

import ctypes
import time

BUS_NAME = 'org.freedesktop.FileManager1'
MAIN_OBJ = '/org/freedesktop/FileManager1'
MAIN_IFACE = 'org.freedesktop.FileManager1'
SYSTEM_BUS = False

PR_SET_NAME = 15


def load(mock, parameters):
    name = parameters.get('process_name')
    if name:
        libc = ctypes.CDLL(None, use_errno=True)
        if libc.prctl(PR_SET_NAME, str(name).encode(), 0, 0, 0) != 0:
            raise OSError(ctypes.get_errno(), 'prctl(PR_SET_NAME) failed')

    delay = float(parameters.get('delay', 0))

    def answer(self, uris, startup_id):
        if delay:
            time.sleep(delay)

    mock.AddMethods(MAIN_IFACE, [
        ('ShowFolders', 'ass', '', answer),
        ('ShowItems', 'ass', '', answer),
        ('ShowItemProperties', 'ass', '', answer),
    ])
