"""What CUPS's own library says about an IPP request."""

import ctypes
import ctypes.util

READ = WRITE = ctypes.CFUNCTYPE(ctypes.c_ssize_t, ctypes.c_void_p, ctypes.POINTER(ctypes.c_ubyte),
                                ctypes.c_size_t)
STATE_ERROR, STATE_IDLE, STATE_DATA = -1, 0, 3


def _load():
    library = ctypes.CDLL(ctypes.util.find_library("cups"))
    pointer, text, number = ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int
    for name, result, arguments in (
            ("ippNew", pointer, []), ("ippDelete", None, [pointer]),
            ("ippReadIO", number, [pointer, READ, number, pointer, pointer]),
            ("ippWriteIO", number, [pointer, WRITE, number, pointer, pointer]),
            ("ippSetState", number, [pointer, number]), ("ippFirstAttribute", pointer, [pointer]),
            ("ippNextAttribute", pointer, [pointer]), ("ippGetName", text, [pointer]),
            ("ippValidateAttribute", number, [pointer]), ("cupsLastErrorString", text, []),
            ("ippEnumString", text, [text, number]), ("pwgMediaForPWG", pointer, [text]),
            ("pwgMediaForLegacy", pointer, [text])):
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments
    return library


_cups = _load()


def complaints(data):
    """Pairs of an attribute's name ("" for the message as a whole) and CUPS's message about it, for a
    request of these bytes, which a document may follow."""
    source = memoryview(bytes(data))
    at = 0

    def read(_, area, size):
        nonlocal at
        piece = source[at:at + size]
        ctypes.memmove(area, bytes(piece), len(piece))
        at += len(piece)
        return len(piece)

    out = bytearray()

    def write(_, area, size):
        out.extend(ctypes.string_at(area, size))
        return size

    message = _cups.ippNew()
    try:
        state = STATE_IDLE
        callback = READ(read)
        while state not in (STATE_ERROR, STATE_DATA):
            state = _cups.ippReadIO(message, callback, 1, None, message)
        if state == STATE_ERROR:
            return [("", "it cannot be read: " + _last_error())]
        found = []
        attribute = _cups.ippFirstAttribute(message)
        while attribute:
            if not _cups.ippValidateAttribute(attribute):
                found.append(((_cups.ippGetName(attribute) or b"").decode(), _last_error()))
            attribute = _cups.ippNextAttribute(message)
        _cups.ippSetState(message, STATE_IDLE)
        callback = WRITE(write)
        while state := _cups.ippWriteIO(message, callback, 1, None, message):
            if state in (STATE_ERROR, STATE_DATA):
                break
        if source[:at].tobytes() != bytes(out):
            found.append(("", "CUPS would write it otherwise"))
        return found
    finally:
        _cups.ippDelete(message)


def _last_error():
    return (_cups.cupsLastErrorString() or b"").decode("utf-8", "backslashreplace")


def enum_is_registered(name, value):
    """Whether the value of an enum attribute has a keyword."""
    word = _cups.ippEnumString(name.encode(), value)
    return word is not None and not word.decode().lstrip("-").isdigit()


def media_is_registered(name):
    """Whether it is a size's self-describing name (PWG 5101.1) or an older one (RFC 8011, C)."""
    return bool(_cups.pwgMediaForPWG(name.encode()) or _cups.pwgMediaForLegacy(name.encode()))
