#!/usr/bin/env python3
"""Asks an instrument who it is. Argument: its resource name."""
import sys
from ctypes import CDLL, byref, c_int32, c_uint32, create_string_buffer

VI_SUCCESS = 0
VI_ATTR_TMO_VALUE = 0x3FFF001A

library = CDLL("libQVvisa_32.so.1")


def call(operation, *arguments):
    """Calls an operation. Only VI_SUCCESS says that it did its work; a positive status doesn't."""
    function = library[operation]
    function.restype = c_int32
    status = function(*arguments)
    if status != VI_SUCCESS:
        text = create_string_buffer(256)
        library.QV_viStatusDesc(0, c_int32(status), text)
        sys.exit(f"{operation}: status 0x{status & 0xFFFFFFFF:08X}: {text.value.decode()}")


def query(instrument, message):
    count = c_uint32()
    call("QV_viWrite", instrument, create_string_buffer(message), c_uint32(len(message)), byref(count))
    answer = create_string_buffer(1024)
    call("QV_viRead", instrument, answer, c_uint32(len(answer)), byref(count))
    return answer.raw[: count.value]


if len(sys.argv) != 2:
    sys.exit("usage: identify.py RESOURCE")
manager, instrument = c_uint32(), c_uint32()
call("QV_viOpenDefaultRM", byref(manager))
call("QV_viOpen", manager, create_string_buffer(sys.argv[1].encode()), c_uint32(0), c_uint32(0), byref(instrument))
call("QV_viSetAttribute", instrument, c_uint32(VI_ATTR_TMO_VALUE), c_uint32(2000))
print(query(instrument, b"*IDN?\n").decode().strip() or sys.exit("the instrument has closed the connection"))
call("QV_viClose", instrument)
call("QV_viClose", manager)
