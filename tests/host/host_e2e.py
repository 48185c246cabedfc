#!/usr/bin/env python3
"""End-to-end tests of ecs-host: the real host program, the real remote tool,
a shared-memory writer process, GStreamer, a real X server (Xvfb) driven by
xdotool. One case per run:

    host_e2e.py CASE --host PATH [--remote PATH] [--shm-helper PATH] [--config PATH]
                [--quit-xml PATH] [--artefacts DIR] [--checking] [--thread-sanitizer]
                [--no-gstreamer]

Cases: startup, usage, sigterm, remote, shm, audio, window. A case that
cannot run here (no remote tool or shared-memory writer built, no GStreamer
MP3 encoder, no Xvfb) prints why and exits 77, which ctest reports
as skipped.
"""

import argparse
import os
import queue
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time
import zlib

SKIP = 77
# Generous limits against hangs only; nothing here measures speed.
WAIT = 30.0


class Failure(Exception):
    pass


def check(condition, message):
    if not condition:
        raise Failure(message)


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


# Every process a case starts, killed at the end whatever the outcome.
STARTED = []


def spawn(*popen_args, **popen_kwargs):
    proc = subprocess.Popen(*popen_args, **popen_kwargs)
    STARTED.append(proc)
    return proc


class Host:
    """A running ecs-host whose output lines are collected as they come."""

    def __init__(self, args, project, options, env=None):
        cmd = [args.host, "--config", os.path.join(project, "engine-config.xml")] + options + [project]
        self.proc = spawn(cmd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          env=env or os.environ.copy())
        self.lines = []
        self.queue = queue.Queue()
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self):
        for line in self.proc.stdout:
            self.queue.put(line.rstrip("\n"))
        self.queue.put(None)

    def wait_for(self, pattern, count=1):
        """Collects lines until `count` of them match; returns the matches."""
        rx = re.compile(pattern)
        deadline = time.monotonic() + WAIT
        while sum(1 for l in self.lines if rx.search(l)) < count:
            remaining = deadline - time.monotonic()
            check(remaining > 0, "no line matching %r; output so far:\n%s" % (pattern, "\n".join(self.lines)))
            try:
                line = self.queue.get(timeout=remaining)
            except queue.Empty:
                continue
            check(line is not None, "host ended before %r:\n%s" % (pattern, "\n".join(self.lines)))
            self.lines.append(line)
        return [l for l in self.lines if rx.search(l)]

    def finish(self):
        try:
            status = self.proc.wait(timeout=WAIT)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            raise Failure("host did not end:\n" + "\n".join(self.lines))
        self.reader.join(timeout=WAIT)
        while True:
            try:
                line = self.queue.get_nowait()
            except queue.Empty:
                break
            if line is not None:
                self.lines.append(line)
        return status


def make_project(args, tmp):
    project = os.path.join(tmp, "project")
    os.makedirs(project)
    shutil.copy(args.config, os.path.join(project, "engine-config.xml"))
    return project


SHUTDOWN = ["host: shutting down after", "host: timer manager stopped", "host: surfaces released",
            "host: message center released", "host: stopped", "host: exit 0"]


def check_order(lines, expected):
    """Each expected prefix appears, in this order."""
    at = 0
    for prefix in expected:
        found = [i for i in range(at, len(lines)) if lines[i].startswith(prefix)]
        check(found, "missing %r after line %d:\n%s" % (prefix, at, "\n".join(lines)))
        at = found[0] + 1


def check_memory_report(args, project):
    report = os.path.join(project, "log", "ecs-host-memory.txt")
    if args.checking:
        check(os.path.exists(report), "checking build wrote no memory report")
    if os.path.exists(report):
        text = open(report, "rb").read().decode("utf-16-le", errors="replace")
        check("All objects have been freed." in text, "memory report shows live objects:\n" + text)


def case_startup(args, tmp):
    project = make_project(args, tmp)
    host = Host(args, project, ["--headless", "--port", "0", "--for", "0.3"])
    status = host.finish()
    check(status == 0, "exit status %d" % status)
    lines = host.lines
    check_order(lines, ["host: headless mode", "host: project ", "host: timer manager started; long press 500 ms",
                        "host: surface 0 main 800x480 at 0,0 touch on", "host: surface 1 status 800x60 at 0,420",
                        "host: running for 300 ms", "host: ready", "[40 Timer] id=0 timer=0x",
                        "host: quit requested: run time over", "[11 Quit] id=0 quit"] + SHUTDOWN)
    check(not any("cluster" in l for l in lines), "an unused surface was started")
    check("host: project %s, configuration %s" % (os.path.realpath(project),
                                                  os.path.join(project, "engine-config.xml")) in lines,
          "folders not as given:\n" + "\n".join(lines))
    # The log file named by the configuration: UTF-16LE with its mark, CR LF lines.
    log = open(os.path.join(project, "log", "ecs-host.log"), "rb").read()
    check(log[:2] == b"\xff\xfe", "log file without byte-order mark")
    text = log[2:].decode("utf-16-le")
    check(re.search(r"\[Info\]\[TrellEngine\] Thread \(ID: \d+, Name: timer\) starts\.\r\n", text),
          "log file lacks the timer thread's start:\n" + text)
    check_memory_report(args, project)


def case_usage(args, tmp):
    project = make_project(args, tmp)
    for options, expected in [(["--port", "70000"], 64), (["--for", "-1"], 64), (["--bogus"], 64),
                              (["--headless", "--port", "0", "--config", os.path.join(tmp, "missing.xml")], 2)]:
        proc = subprocess.run([args.host] + options + [project], capture_output=True, text=True, timeout=WAIT)
        check(proc.returncode == expected, "%s: exit %d, expected %d\n%s%s" % (options, proc.returncode, expected,
                                                                            proc.stdout, proc.stderr))
        if expected == 2:
            check("host: cannot load the configuration" in proc.stdout, proc.stdout)
            check("host: ready" not in proc.stdout and "host: stopped" in proc.stdout, proc.stdout)
    # Window mode asked for where there is no display: refused before anything starts.
    env = dict(os.environ, DISPLAY=":1999")
    proc = subprocess.run([args.host, "--window", "--port", "0", project], capture_output=True, text=True,
                          timeout=WAIT, env=env)
    check(proc.returncode == 2 and "no X display" in proc.stderr and "host: ready" not in proc.stdout,
          "window without display: exit %d\n%s%s" % (proc.returncode, proc.stdout, proc.stderr))
    proc = subprocess.run([args.host, "--help"], capture_output=True, text=True, timeout=WAIT)
    check(proc.returncode == 0 and proc.stdout.startswith("usage: ecs-host"), proc.stdout)
    for option, expected in [("-v", r"\[Info\]\[TrellEngine\] ecs-host Enterprise Version 2\.8\.2 Build Date"),
                             ("HELP", r"\[Info\]\[TrellEngine\] Usage: ecs-host \[options\]")]:
        proc = subprocess.run([args.host, option], capture_output=True, text=True, timeout=WAIT)
        check(proc.returncode == 0 and re.search(expected, proc.stdout) and "host:" not in proc.stdout,
              "%s:\n%s" % (option, proc.stdout))


def remote(args, port, commands, extra=None):
    return spawn([args.remote, "--port", str(port), "--for", "0"] + (extra or []) + commands,
                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)


def case_remote(args, tmp):
    if not args.remote:
        print("skipped: the remote tool is not built")
        return SKIP
    project = make_project(args, tmp)
    port = free_port()
    host = Host(args, project, ["--headless", "--port", str(port)])
    host.wait_for(r"^host: ready$")
    # The quit goes last in the same stream: everything sent before it is
    # handled before the host ends.
    tool = remote(args, port, ["touch", "7", "1", "100", "200", "touch", "7", "2", "150", "260",
                               "touch", "7", "3", "180", "300", "page", "5", "Main", "popup", "2", "Dialog",
                               "xml", args.config, "raw", "01ff20", "xml", args.quit_xml])
    try:
        out, _ = tool.communicate(timeout=WAIT)
    except subprocess.TimeoutExpired:
        tool.kill()
        out, _ = tool.communicate()
        raise Failure("remote tool did not end:\n%s\nhost:\n%s" % (out, "\n".join(host.lines)))
    check(tool.returncode == 0, "remote tool failed:\n" + out)
    status = host.finish()
    check(status == 0, "exit status %d:\n%s" % (status, "\n".join(host.lines)))
    lines = host.lines
    remote_id = r"^\[20 Touch\] id=[1-9]\d* "
    data_id = r"^\[33 Data Transfer\] id=[1-9]\d* "
    check_order(lines, ["host: data transfer listening on 127.0.0.1:%d" % port, "host: ready"])
    # The center serves its queues by weight, not in arrival order, and the
    # surface's own touches are queued while the remote ones are handled:
    # the order holds for the remote commands (they travel in the input
    # queue with the touches), for the surface's touches after the first
    # remote one, and for the data queue.
    remote_press = remote_id + r"remote touch_input press cursor=7 x=100 y=200 dx=0 dy=0 xspeed=0 yspeed=0 t=0$"
    sequences = [
        [remote_press,
         remote_id + r"remote touch_input move cursor=7 x=150 y=260 ",
         remote_id + r"remote touch_input release cursor=7 x=180 y=300 ",
         remote_id + r"remote page_cmd handle=5 page=Main$",
         # Popups are written as "page_name" and read as "popup_name": the name is lost on purpose.
         remote_id + r"remote popup_cmd handle=2 popup=$"],
        [remote_press,
         r"^\[20 Touch\] id=0 surface press cursor=7 x=100 y=200 dx=0 dy=0 xspeed=0 yspeed=0 t=\d+$",
         r"^\[20 Touch\] id=0 surface move cursor=7 x=150 y=260 dx=50 dy=60 xspeed=0 yspeed=0 t=\d+$",
         r"^\[20 Touch\] id=0 surface release cursor=7 x=180 y=300 dx=80 dy=100 xspeed=-?\d+ yspeed=-?\d+ t=\d+$"],
        [data_id + r"remote connected$",
         data_id + r"remote logic xml root=engine chars=\d+$",
         data_id + r"remote logic raw bytes=3$",
         data_id + r"remote logic xml root=quit chars=\d+$",
         r"^host: quit requested: remote quit document$",
         r"^\[11 Quit\] id=0 quit$"],
    ]
    for sequence in sequences:
        at = 0
        for rx in sequence:
            found = [i for i in range(at, len(lines)) if re.search(rx, lines[i])]
            check(found, "missing %r after line %d:\n%s" % (rx, at, "\n".join(lines)))
            at = found[0] + 1
        check(at - 1 <= lines.index("[11 Quit] id=0 quit"), "input handled after the quit:\n" + "\n".join(lines))
    at = lines.index("[11 Quit] id=0 quit") + 1
    check_order(lines[at:], ["host: shutting down after", "host: data transfer closed"] + SHUTDOWN[1:])
    check_memory_report(args, project)


def case_sigterm(args, tmp):
    project = make_project(args, tmp)
    port = free_port() if args.remote else 0
    host = Host(args, project, ["--headless", "--port", str(port)])
    host.wait_for(r"^host: ready$")
    stream = None
    if args.remote:
        # A stream of moves that is still running when the host is killed.
        commands = ["touch", "1", "1", "10", "10"]
        for i in range(400):
            commands += ["touch", "1", "2", str(10 + i % 300), "10", "wait", "5"]
        stream = remote(args, port, commands)
        host.wait_for(r"surface move cursor=1 ", count=20)
    else:
        time.sleep(0.2)
    host.proc.send_signal(signal.SIGTERM)
    status = host.finish()
    if stream:
        stream.kill()
        stream.communicate()
    check(status == 0, "exit status %d:\n%s" % (status, "\n".join(host.lines)))
    lines = host.lines
    quit_at = lines.index("host: quit requested: SIGTERM")
    check_order(lines[quit_at:], ["[11 Quit] id=0 quit", "host: shutting down after"] +
                (["host: data transfer closed"] if args.remote else []) + SHUTDOWN[1:])
    check(lines[-1] == "host: exit 0", lines[-1])
    check_memory_report(args, project)


def case_shm(args, tmp):
    if not args.shm_helper:
        print("skipped: the shared-memory helper is not built")
        return SKIP
    project = make_project(args, tmp)
    key = str(40000 + os.getpid() % 20000)
    host = Host(args, project, ["--headless", "--port", "0", "--shm", key + ":64"])
    host.wait_for(r"^host: shared memory reader on key %s, 64 bytes$" % key)
    host.wait_for(r"^host: ready$")
    # Another process writes one block; the host reads it on its main loop.
    writer = spawn([args.shm_helper, "writer", key, "64"], stdin=subprocess.PIPE,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        host.wait_for(r"^\[32 Share Memory\] id=0 shm data bytes=6 text=before$")
    finally:
        writer.kill()
        writer.wait()
    host.proc.send_signal(signal.SIGTERM)
    status = host.finish()
    check(status == 0, "exit status %d:\n%s" % (status, "\n".join(host.lines)))
    at = host.lines.index("host: quit requested: SIGTERM")
    check_order(host.lines[at:], ["[11 Quit] id=0 quit", "host: shutting down after", "host: shared memory closed"] +
                SHUTDOWN[1:])
    check_memory_report(args, project)


def case_audio(args, tmp):
    if args.thread_sanitizer:
        print("skipped: GStreamer is not instrumented for the thread sanitizer")
        return SKIP
    if args.no_gstreamer:
        print("skipped: built without GStreamer (ECS_AUDIO_GSTREAMER=OFF)")
        return SKIP
    tone = os.path.join(tmp, "tone.mp3")
    make = ("gst-launch-1.0 -q audiotestsrc num-buffers=13 samplesperbuffer=2205 ! "
            "audio/x-raw,rate=22050,channels=1 ! lamemp3enc target=bitrate bitrate=32 cbr=true ! "
            "filesink location=" + tone)
    if not shutil.which("gst-launch-1.0") or subprocess.run(make, shell=True, capture_output=True).returncode != 0:
        print("skipped: GStreamer cannot make an MP3 here")
        return SKIP
    project = make_project(args, tmp)
    env = dict(os.environ, ECS_AUDIO_SINK="fakesink sync=true")
    host = Host(args, project, ["--headless", "--port", "0", "--play", tone], env=env)
    # 1.3 s of tone: played to its end, with progress from the player's timer
    # through the main loop.
    host.wait_for(r"^audio: status stopped$")
    host.proc.send_signal(signal.SIGTERM)
    status = host.finish()
    check(status == 0, "exit status %d:\n%s" % (status, "\n".join(host.lines)))
    lines = host.lines
    check_order(lines, ["host: audio player: 1 file(s)", "host: ready", "audio: now playing " + tone,
                        "audio: status playing", "audio: status stopped"])
    check(any(re.match(r"^\[40 Timer\] id=0 handled by its owner timer entries=[1-9]", l) for l in lines),
          "no progress timer through the main loop:\n" + "\n".join(lines))
    check(any(re.match(r"^audio: time [01]/1 s$", l) for l in lines), "no progress:\n" + "\n".join(lines))
    at = lines.index("host: quit requested: SIGTERM")
    check_order(lines[at:], ["[11 Quit] id=0 quit", "host: shutting down after", "host: audio player stopped"] +
                SHUTDOWN[1:])
    check_memory_report(args, project)


def write_png(ppm_path, png_path):
    data = open(ppm_path, "rb").read()
    m = re.match(rb"P6\s+(\d+)\s+(\d+)\s+255\s", data)
    check(m, "screenshot is not a PPM")
    width, height = int(m.group(1)), int(m.group(2))
    pixels = data[m.end():]
    check(len(pixels) == width * height * 3, "screenshot is cut short")
    rows = b"".join(b"\x00" + pixels[y * width * 3:(y + 1) * width * 3] for y in range(height))

    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body) & 0xFFFFFFFF)

    png = (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
           chunk(b"IDAT", zlib.compress(rows, 9)) + chunk(b"IEND", b""))
    open(png_path, "wb").write(png)
    return width, pixels


def start_xvfb():
    if not shutil.which("Xvfb") or not shutil.which("xdotool"):
        return None, None
    read_fd, write_fd = os.pipe()
    xvfb = spawn(["Xvfb", "-displayfd", str(write_fd), "-screen", "0", "1024x768x24", "-nolisten", "tcp"],
                 pass_fds=(write_fd,), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    os.close(write_fd)
    number = b""
    with os.fdopen(read_fd, "rb") as pipe:
        number = pipe.readline().strip()
    if not number:
        xvfb.kill()
        xvfb.wait()
        return None, None
    return xvfb, ":" + number.decode()


def case_window(args, tmp):
    xvfb, display = start_xvfb()
    if not xvfb:
        print("skipped: Xvfb (or xdotool) cannot start here")
        return SKIP
    try:
        env = os.environ.copy()
        env["DISPLAY"] = display
        env.pop("CI", None)
        project = make_project(args, tmp)
        shot = os.path.join(tmp, "tracks.ppm")
        host = Host(args, project, ["--window", "--port", "0", "--screenshot", shot], env=env)
        host.wait_for(r"^host: ready$")
        host.wait_for(r"^\[1 Render\] id=0 render surface=0$")
        xdo = lambda *a: subprocess.run(["xdotool"] + list(a), env=env, check=True, capture_output=True,
                                        text=True, timeout=WAIT).stdout
        window = xdo("search", "--sync", "--name", "^ecs-host: main$").split()[0]
        # Press and hold: press, then the long-press and continuous-press repeats.
        xdo("mousemove", "--window", window, "100", "100", "mousedown", "1")
        host.wait_for(r"surface move cursor=1 x=100 y=100 dx=0 dy=0 ", count=3)
        # Drag and release.
        for x, y in [(150, 125), (200, 150), (250, 175), (300, 200)]:
            xdo("mousemove", "--window", window, str(x), str(y))
            host.wait_for(r"surface move cursor=1 x=%d y=%d " % (x, y))
        xdo("mouseup", "1")
        release = host.wait_for(r"surface release cursor=1 ")[0]
        # A second finger stroke by the wheel: one wheel event.
        xdo("mousemove", "--window", window, "400", "300", "click", "4")
        host.wait_for(r"surface wheel cursor=0 x=400 y=300 .* distance=120$")
        host.proc.send_signal(signal.SIGINT)
        status = host.finish()
        check(status == 0, "exit status %d:\n%s" % (status, "\n".join(host.lines)))
        lines = host.lines
        check_order(lines, ["host: window mode", "host: ready",
                            "[20 Touch] id=0 surface press cursor=1 x=100 y=100 dx=0 dy=0 xspeed=0 yspeed=0",
                            "[20 Touch] id=0 surface move cursor=1 x=100 y=100 dx=0 dy=0 xspeed=0 yspeed=0",
                            "[20 Touch] id=0 surface move cursor=1 x=300 y=200 dx=200 dy=100 xspeed=0 yspeed=0",
                            "[20 Touch] id=0 surface release cursor=1 x=300 y=200 dx=200 dy=100",
                            "host: quit requested: SIGINT", "[11 Quit] id=0 quit", "host: screenshot"] + SHUTDOWN)
        speeds = re.search(r"xspeed=(-?\d+) yspeed=(-?\d+)", release)
        check(int(speeds.group(1)) > 0 and int(speeds.group(2)) > 0, "release without speed: " + release)
        # The repeats carry the press's own timestamp.
        press_t = re.search(r"surface press cursor=1 .* t=(\d+)", "\n".join(lines)).group(1)
        repeats = [l for l in lines if "surface move cursor=1 x=100 y=100 dx=0 dy=0" in l]
        check(all(l.endswith(" t=" + press_t) for l in repeats), "\n".join(repeats))

        png = os.path.join(args.artefacts, "ecs-host-tracks.png")
        width, pixels = write_png(shot, png)
        print("screenshot written to", png)
        pixel = lambda x, y: pixels[(y * width + x) * 3:(y * width + x) * 3 + 3]
        track = bytes([0xFF, 0xB0, 0x40])
        # The drawn track runs through the points the pointer visited, the
        # background elsewhere.
        for x, y in [(150, 125), (250, 175), (300, 200)]:
            check(pixel(x, y) == track, "no track at %d,%d: %s" % (x, y, pixel(x, y).hex()))
        check(pixel(700, 50) == bytes([0x10, 0x18, 0x20]), "background at 700,50: " + pixel(700, 50).hex())
        check_memory_report(args, project)
    finally:
        xvfb.terminate()
        xvfb.wait()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("case", choices=["startup", "usage", "sigterm", "remote", "shm", "audio", "window"])
    parser.add_argument("--host", required=True)
    parser.add_argument("--remote", default="")
    parser.add_argument("--shm-helper", default="")
    parser.add_argument("--config", required=True)
    parser.add_argument("--quit-xml", required=True)
    parser.add_argument("--artefacts", default=".")
    parser.add_argument("--checking", action="store_true")
    parser.add_argument("--thread-sanitizer", action="store_true")
    parser.add_argument("--no-gstreamer", action="store_true")
    args = parser.parse_args()
    os.makedirs(args.artefacts, exist_ok=True)
    with tempfile.TemporaryDirectory() as tmp:
        try:
            result = globals()["case_" + args.case](args, tmp)
        except (Failure, subprocess.TimeoutExpired) as failure:
            print("FAILED:", failure)
            return 1
        finally:
            for proc in STARTED:
                if proc.poll() is None:
                    proc.kill()
                    proc.wait()
    if result == SKIP:
        return SKIP
    print("passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
