"""pyvisa over the standard's operations, on the simulated instrument of every bus.

Runs under `qvvisa-sim --tcp --serial --usb --`, with QVVISA_STD naming the library.
"""

import ctypes
import os
import pathlib
import re
import subprocess
import sys
import threading
import time

import pytest
import pyvisa
from pyvisa.constants import AccessModes, ResourceAttribute, StatusCode

LIBRARY = os.environ["QVVISA_STD"]
TCP, SERIAL, USB = (os.environ["QVVISA_SIM_" + bus] for bus in ("TCP", "SERIAL", "USB"))
IDENTITY = "KESTRIX,SIM-1,A1234,1.0"
MEBIBYTE = 1 << 20


@pytest.fixture
def manager():
    manager = pyvisa.ResourceManager(LIBRARY)
    yield manager
    manager.close()


@pytest.fixture(params=["TCP", "SERIAL", "USB"])
def instrument(manager, request):
    with open_instrument(manager, globals()[request.param]) as instrument:
        yield instrument


def open_instrument(manager, name):
    return manager.open_resource(name, read_termination="\n", write_termination="\n", timeout=20000)


def code_of(operation):
    with pytest.raises(pyvisa.VisaIOError) as failure:
        operation()
    return failure.value.error_code


def test_lists_usb_and_serial(manager):
    assert manager.list_resources() == (USB, SERIAL)
    assert manager.list_resources("usb?*::raw") == (USB.replace("INSTR", "1::RAW"),)
    assert manager.list_resources("GPIB?*") == ()
    assert manager.list_resources_info()[SERIAL].resource_class == "INSTR"


@pytest.mark.parametrize("name", [TCP.lower(), SERIAL.lower(), SERIAL.partition("::")[0], USB.replace("USB0", "usb"),
                                  USB.rpartition("::")[0], "USB0::31834::66::A1234::0::INSTR"])
def test_opens_by_any_spelling(manager, name):
    with open_instrument(manager, name) as instrument:
        assert instrument.query("*IDN?") == IDENTITY


def test_queries_and_values(instrument):
    assert instrument.query("VOLT 1.25;VOLT?") == "1.250"
    assert instrument.query_ascii_values("VOLT?;*OPC?", separator=";") == [1.25, 1.0]
    assert instrument.query_binary_values("DATA:BLOC? 1000", "B") == [i % 256 for i in range(1000)]
    assert instrument.read_termination == "\n"
    assert instrument.resource_manufacturer_name == "KESTRIX"


@pytest.mark.parametrize("name", [TCP, SERIAL])
def test_transfers_a_mebibyte(manager, name):
    with open_instrument(manager, name) as instrument:
        values = instrument.query_binary_values("DATA:BLOC? %d" % MEBIBYTE, "B", container=bytes)
        assert values == bytes(range(256)) * (MEBIBYTE // 256)
        assert instrument.query("*OPC?") == "1"


def test_time_limit(instrument):
    elapsed = []
    for instrument.timeout in (500, 500, 500):
        start = time.monotonic()
        assert code_of(instrument.read) == StatusCode.error_timeout
        elapsed.append(time.monotonic() - start)
    assert min(elapsed) >= 0.5
    # A busy machine may wake a process late, but hardly three times.
    assert min(elapsed) <= 0.5 * 1.3
    instrument.timeout = None
    assert instrument.query("*OPC?") == "1"


def test_clear_and_status_byte(instrument):
    instrument.write("*CLS")
    instrument.write("*IDN?")
    assert instrument.read_bytes(1) == b"K"
    instrument.clear()
    assert instrument.query("*OPC?") == "1"
    if "USB" in instrument.resource_name:
        assert instrument.read_stb() == 0
        instrument.write("NONSENSE")
        instrument.query("*OPC?")
        assert instrument.read_stb() & 4
    else:
        assert code_of(instrument.read_stb) == StatusCode.error_nonsupported_operation
        instrument.set_visa_attribute(ResourceAttribute.io_prot, 4)
        assert instrument.read_stb() == 0


@pytest.mark.parametrize("name, code", [("nonsense", StatusCode.error_invalid_resource_name),
                                        ("GPIB0::3::INSTR", StatusCode.error_invalid_resource_name),
                                        ("ASRL999::INSTR", StatusCode.error_resource_not_found),
                                        ("TCPIP0::127.0.0.1::1::SOCKET", StatusCode.error_resource_not_found),
                                        ("USB0::1::2::NONE::INSTR", StatusCode.error_resource_not_found)])
def test_wrong_names(manager, name, code):
    assert code_of(lambda: manager.open_resource(name)) == code


def test_closing_in_any_order_and_managers_of_their_own():
    # pyvisa has one manager for a library, so the second one is the library's alone.
    manager = pyvisa.ResourceManager(LIBRARY)
    second, _ = manager.visalib.open_default_resource_manager()
    instruments = [open_instrument(manager, name) for name in (USB, TCP, SERIAL)]
    other, _ = manager.visalib.open(second, TCP)
    instruments[1].close()
    assert instruments[2].query("*OPC?") == "1"
    manager.visalib.close(second)
    assert code_of(lambda: manager.visalib.write(other, b"*CLS\n")) == StatusCode.error_invalid_object
    assert instruments[0].query("*OPC?") == "1"
    manager.close()
    with pytest.raises(pyvisa.InvalidSession):
        instruments[0].query("*OPC?")
    manager = pyvisa.ResourceManager(LIBRARY)
    assert open_instrument(manager, SERIAL).query("*OPC?") == "1"
    manager.close()


def test_locks(manager):
    with open_instrument(manager, TCP) as first, open_instrument(manager, TCP) as second:
        with first.lock_context():
            assert code_of(lambda: second.write("*CLS")) == StatusCode.error_resource_locked
        key = first.lock(requested_key=None)
        second.lock(requested_key=key)
        assert second.query("*OPC?") == "1"
        with pytest.raises(pyvisa.VisaIOError):
            manager.open_resource(TCP, access_mode=AccessModes.exclusive_lock)


def test_threads(manager):
    answers = {}

    def work(name):
        with open_instrument(manager, name) as instrument:
            answers[threading.get_ident()] = [instrument.query("*IDN?") for _ in range(200)]

    threads = [threading.Thread(target=work, args=(name,)) for name in (TCP, TCP, TCP, SERIAL, USB)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert list(answers.values()) == [[IDENTITY] * 200] * 5


def test_operations_of_other_buses_are_refused(manager):
    names = pathlib.Path(__file__).parents[2].joinpath("packaging/vpp43-operations.txt").read_text().split()
    foreign = [name for name in names if re.match(r"vi(In\d|Out|Move|Map|Unmap|Mem|Vxi|Pxi|Peek|Poke|Assert.*Signal|"
                                                  r"Terminate|.*Async|Gpib(?!ControlREN))", name)]
    library = ctypes.CDLL(LIBRARY)
    with open_instrument(manager, USB) as instrument:
        statuses = {name: getattr(library, name)(*[instrument.session] + [0] * 8) for name in foreign
                    if not name.startswith(("viPeek", "viPoke"))}
        assert set(statuses.values()) == {StatusCode.error_nonsupported_operation}
        assert len(foreign) == 64
        assert instrument.query("*OPC?") == "1"


def test_usb_instrument(manager):
    with open_instrument(manager, USB) as instrument:
        assert instrument.is_4882_compliant
        assert (instrument.manufacturer_id, instrument.model_code) == (0x7C5A, 0x42)
        instrument.control_ren(1)
        assert code_of(lambda: instrument.write_raw(b"x" * 4085)) == StatusCode.error_invalid_length
        with pytest.raises(pyvisa.VisaIOError):
            instrument.send_end = False
        assert code_of(lambda: open_instrument(manager, USB)) == StatusCode.error_resource_busy
        with open_instrument(manager, USB.replace("INSTR", "1::RAW")) as echo:
            assert echo.query("one\ntwo") == "one"
            assert echo.read() == "two"
        assert instrument.query("*OPC?") == "1"


def results_over_tcp(manager):
    """What a program sees of the instrument, for a comparison of backends."""
    with open_instrument(manager, TCP) as instrument:
        yield instrument.query("*IDN?")
        yield instrument.query_ascii_values("VOLT 2.5;VOLT?;MEAS:VOLT?", separator=";")
        yield instrument.query_binary_values("DATA:BLOC? %d" % MEBIBYTE, "B", container=bytes)
        yield instrument.query_binary_values("DATA:BLOC? 12", "h", is_big_endian=True)
        instrument.write("*IDN?")
        yield instrument.read_bytes(7), instrument.read()
        instrument.write_raw(b"*OPC?\n*OPC?\n")
        yield instrument.read(), instrument.read_raw()
        instrument.timeout = 100
        yield code_of(instrument.read)
        instrument.timeout = 20000
        yield instrument.query("*OPC?"), instrument.timeout, instrument.interface_type


def test_same_results_as_the_python_backend(manager):
    other = pyvisa.ResourceManager("@py")
    for ours, theirs in zip(results_over_tcp(manager), results_over_tcp(other)):
        assert ours == theirs


def test_shell_lists_and_queries(tmp_path):
    (tmp_path / ".pyvisarc").write_text("[Paths]\nVISA library: %s\n" % LIBRARY)
    shell = subprocess.run([sys.executable, "-c", "from pyvisa.cmd_line_tools import visa_main; visa_main('shell')"],
                           input="list\nopen %s\ntermchar LF LF\nquery *IDN?\nexit\n" % TCP, text=True,
                           capture_output=True, env={**os.environ, "HOME": str(tmp_path)}, timeout=120, check=True)
    for expected in (USB, SERIAL, "Response: " + IDENTITY):
        assert expected in shell.stdout, shell.stderr


def test_nothing_is_printed():
    program = """if True:
        import pyvisa
        with pyvisa.ResourceManager(%r).open_resource(%r, timeout=1) as instrument:
            try: instrument.read_raw()
            except pyvisa.VisaIOError as failure: print(failure.abbreviation)
        """ % (LIBRARY, TCP.replace("127.0.0.1", "localhost"))
    output = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=120, check=True)
    assert output.stdout == "VI_ERROR_TMO\n"
