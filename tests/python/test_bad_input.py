"""What goes wrong in programs ends in an exception with a sentence, or in the right result."""

import copy
import importlib
import importlib.util
import pickle
import shutil
import signal
import sys
import threading
from pathlib import Path

import ox3d
import pytest
from ox3d import Camera, Ox3dError, Status


@pytest.fixture
def camera():
    with Camera("QUICK") as opened:
        opened.start()
        yield opened


def test_borrowed_memory_is_not_let_go_while_an_array_looks_at_it(camera):
    with pytest.raises(BufferError, match="in use"):
        with camera.borrow() as frame:
            part = frame.depth[100:200, ::2].T
            seen = part.sum()
            for refused in (camera.fetch, camera.close, camera.borrow().__enter__):
                with pytest.raises(BufferError):
                    refused()
    for refused in (camera.fetch, camera.close, camera.borrow().__enter__):
        with pytest.raises(BufferError, match="delete it, or copy"):
            refused()
    assert part.sum() == seen
    bytes_of_it = memoryview(part)
    del part
    with pytest.raises(BufferError):
        camera.fetch()
    del bytes_of_it
    with pytest.raises(BufferError, match="block has ended"):
        frame.depth.sum()
    assert camera.fetch(60).depth.any()
    with pytest.raises(ZeroDivisionError):  # comes before what is borrowed
        with camera.borrow() as frame:
            kept = frame.color
            1 / 0
    forgotten = camera._device
    camera._device = Camera("FIRST")._device
    del forgotten, frame
    assert kept.any()  # though nobody has the camera any more


@pytest.mark.parametrize(
    "use",
    [
        lambda c: c.fetch(),
        lambda c: c.start(),
        lambda c: next(c.frames()),
        lambda c: c["ExposureTime"],
        lambda c: c.__setitem__("ExposureTime", 1),
        lambda c: c.features(),
        lambda c: c.calibration(),
        lambda c: c.info,
        lambda c: c.on_frame(print),
        lambda c: c.borrow().__enter__(),
        lambda c: c.trigger(),
    ],
)
def test_a_closed_camera_says_so(use):
    with Camera("FIRST") as closed:
        pass
    closed.close()
    with pytest.raises(Ox3dError, match="the camera was closed") as raised:
        use(closed)
    assert raised.value.code == Status.HANDLE


def test_a_frame_outlives_its_camera_and_its_points_take_any_other(camera):
    frame = camera.fetch(60)
    size = len(frame.points())
    camera.close()
    with pytest.raises(Ox3dError, match="while a camera is open"):
        frame.points()
    with Camera("FIRST"):
        assert len(frame.points()) == size and frame.time.arrival_ns > 0


@pytest.mark.parametrize(
    "call",
    [
        lambda c: c.fetch(-1),
        lambda c: c.fetch(float("nan")),
        lambda c: c.set_buffers(0),
        lambda c: c.calibration("left"),
        lambda c: c.fetch(60).points("left"),
        lambda c: Camera("A", ip="1.2.3.4"),
        lambda c: Camera("A\0"),
    ],
)
def test_values_that_are_none_are_refused(camera, call):
    with pytest.raises(ValueError):
        call(camera)


def test_neither_cameras_nor_frames_are_sent_to_other_processes(camera):
    for each in (camera, camera.fetch(60)):
        for send in (pickle.dumps, copy.copy):
            with pytest.raises(TypeError, match="sent|send"):
                send(each)
    error = Ox3dError(Status.STATE, "NAME", "a sentence")
    again = pickle.loads(pickle.dumps(error))
    assert (again.code, again.name, str(again)) == (Status.STATE, "NAME", "a sentence")


def test_a_callback_may_close_its_camera_and_its_exceptions_are_told(monkeypatch):
    camera = Camera("CLOSER")  # which no other test opens: it is closed when the callback has returned
    camera.start()
    told, done = [], threading.Event()
    monkeypatch.setattr(sys, "unraisablehook", lambda raised: told.append(raised.exc_value))

    def first(frame):
        camera.on_frame(last)
        raise KeyError(frame.number)

    def last(frame):
        camera.close()
        done.set()

    camera.on_frame(first)
    assert done.wait(60) and isinstance(told[0], KeyError)
    with pytest.raises(Ox3dError, match="closed"):
        camera.fetch()


def test_threads_share_a_camera_and_a_close_ends_their_waiting(camera):
    numbers, ends = [], []

    def take():
        for _ in range(50):
            numbers.append(camera.fetch(60).number)

    def wait():
        try:
            camera.fetch(timeout=None)
        except Ox3dError as error:
            ends.append(str(error))

    def run(*targets):
        threads = [threading.Thread(target=target) for target in targets]
        for thread in threads:
            thread.start()
        return threads

    def turn():
        for i in range(40):
            camera["ExposureTime"] = 1000 + i
            frame = camera.fetch(60)
            numbers.append(frame.number)
            assert len(frame.points()) > 0

    for thread in run(take, take, turn):
        thread.join()
    assert len(set(numbers)) == len(numbers) == 140
    camera.stop()
    camera["TriggerMode"] = "On"
    camera.start()
    waiting = run(wait, wait)
    with pytest.raises(Ox3dError, match="E_NO_DATA"):
        camera.fetch(0.2)
    camera.close()
    for thread in waiting:
        thread.join()
    assert ends == ["the camera was closed"] * 2


SILENT = """
import os, signal, sys, threading, time, ox3d
camera = ox3d.Camera("FIRST")
camera["TriggerMode"] = "On"
camera.start()
"""


def test_ctrl_c_ends_a_fetch(program):
    said = program(
        SILENT
        + """
try:
    threading.Timer(0.5, os.kill, (os.getpid(), signal.SIGINT)).start()
    camera.fetch(timeout=None)
except KeyboardInterrupt:
    print("interrupted")
    camera.close()
def close(*_):
    other.close()
    print("closed")
other = ox3d.Camera("FIRST")
other["TriggerMode"] = "On"
other.start()
signal.signal(signal.SIGINT, close)
threading.Timer(0.5, os.kill, (os.getpid(), signal.SIGINT)).start()
try:
    other.fetch(timeout=None)
except ox3d.Ox3dError as error:
    print(error)
ox3d.Camera("FIRST").close()
"""
    )
    assert said.splitlines() == ["interrupted", "closed", "the camera was closed"]


@pytest.mark.parametrize("way", ["fork", "spawn"])
def test_children_of_multiprocessing_do_not_use_the_cameras_of_their_parent(program, way):
    said = program(
        f"""
import multiprocessing, sys, threading, ox3d
camera = frame = None
def child(answers):
    if camera is not None:
        for use in (camera.fetch, lambda: camera["ExposureTime"]):
            try:
                use()
            except ox3d.Ox3dError as error:
                answers.put(str(error))
        answers.put(int(frame.depth.max()))
        camera.close()
    with ox3d.Camera("SECOND") as own:
        answers.put(int(next(own.frames(60)).depth.max()))
if __name__ == "__main__":
    camera = ox3d.Camera("QUICK")
    camera.start()
    frame = camera.fetch(60)
    stop = threading.Event()
    def fetch():
        while not stop.is_set():
            camera.fetch(60)
    thread = threading.Thread(target=fetch, daemon=True)
    thread.start()
    context = multiprocessing.get_context("{way}")
    answers = context.Queue()
    process = context.Process(target=child, args=(answers,), daemon=True)
    process.start()
    if "{way}" == "fork":
        assert "belongs to the process that opened it" in answers.get(timeout=60) and "belongs" in answers.get(timeout=60)
        assert answers.get(timeout=60) == frame.depth.max()
    assert answers.get(timeout=60) > 0
    process.join()
    stop.set()
    thread.join()
    camera.fetch(60)
    print(process.exitcode)
"""
    )
    assert said == "0\n"


def test_the_package_may_be_loaded_twice(camera, tmp_path):
    importlib.reload(ox3d)
    shutil.copytree(Path(ox3d.__file__).parent, tmp_path / "twin", ignore=shutil.ignore_patterns("__pycache__"))
    spec = importlib.util.spec_from_file_location("twin", tmp_path / "twin" / "__init__.py")
    twin = sys.modules["twin"] = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(twin)
    with twin.Camera("FIRST", provider="virtual") as other:
        assert next(other.frames(60)).depth.any() and camera.fetch(60).depth.any()
        with pytest.raises(twin.Ox3dError, match="E_CAMERA_0E"):
            twin.Camera("QUICK")  # is open already, and the library knows it
        with pytest.raises(twin.Ox3dError, match="needs another process"):
            twin.list(provider="aravis")


@pytest.mark.parametrize(
    "variables, sentence",
    [
        ({"OX3D_LIBRARY": "/nowhere/libOx3dRgbd.so.1"}, "OX3D_LIBRARY names"),
        ({"OX3D_LIBRARY": sys.executable}, "cannot be loaded"),
        ({"OX3D_PROVIDER": "/nowhere/at/all"}, "OX3D_RGBD_E_LOAD_LIBRARY: "),
    ],
)
def test_a_missing_library_or_provider_is_told(program, variables, sentence):
    said = program(
        "import ox3d\ntry: ox3d.list()\nexcept ox3d.Ox3dError as error: print(hex(error.code), error.name, error)",
        **variables,
    )
    assert said.startswith("0x8006000b OX3D_RGBD_E_LOAD_LIBRARY ") and sentence in said


def test_a_program_may_end_as_it_is(program):
    program(
        SILENT
        + """
other = ox3d.Camera("QUICK")
other.on_frame(lambda frame: frame.points())
other.start()
threading.Thread(target=camera.fetch, args=(None,), daemon=True).start()
threading.Thread(target=lambda: [f for f in ox3d.Camera("SECOND").frames(60)], daemon=True).start()
time.sleep(0.5)
"""
    )
