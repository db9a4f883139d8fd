"""A copy of the tree with a build of its own, where one file at a time is wrong."""

import glob
import json
import os
import resource
import shutil
import signal
import subprocess
import time

GIB = 1024 ** 3


class Failure(Exception):
    """What keeps the work from being done, for the user."""


def _files_of(checkout):
    listed = subprocess.run(
        ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard", "--deduplicate"],
        cwd=checkout, capture_output=True, text=True)
    if listed.returncode != 0:
        raise Failure("this is not a checkout: " + listed.stderr.strip())
    return {name for name in listed.stdout.split("\0")
            if name and os.path.isfile(os.path.join(checkout, name))}


def _read(path):
    with open(path, "rb") as file:
        return file.read()


class Workshop:
    def __init__(self, checkout, folder, jobs, seed):
        self.checkout = checkout
        self.tree = os.path.join(folder, "tree")
        self.build = os.path.join(folder, "build")
        self.scratch = os.path.join(folder, "tmp")
        self.log = os.path.join(folder, "log")
        self.jobs = jobs
        self.seed = seed
        self.usual = {}  # test program: its processor seconds and its seconds when all is well

    def prepare(self):
        os.makedirs(self.tree, exist_ok=True)
        self._copy_tree()
        self._configure()

    def _copy_tree(self):
        """Only what differs is written, so that the rest is not compiled again. That also puts
        right what an earlier call left when it was killed."""
        wanted = _files_of(self.checkout)
        for folder, _, names in os.walk(self.tree):
            for name in names:
                path = os.path.join(folder, name)
                if os.path.relpath(path, self.tree) not in wanted:
                    os.remove(path)
        for name in wanted:
            source, target = os.path.join(self.checkout, name), os.path.join(self.tree, name)
            if not os.path.exists(target) or _read(source) != _read(target):
                os.makedirs(os.path.dirname(target), exist_ok=True)
                shutil.copy(source, target)

    def _configure(self):
        """Warnings are no matter here, and the checks of the standard library are."""
        command = [
            "cmake", "-G", "Ninja", "-S", self.tree, "-B", self.build,
            "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS=-w", "-DCMAKE_CXX_FLAGS_DEBUG=-O1",
            "-DVHDX_PARSER_WARNINGS_AS_ERRORS=OFF", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON"]
        if shutil.which("ld.lld"):
            linker = "=-fuse-ld=lld"
            command += [f"-DCMAKE_{kind}_LINKER_FLAGS{linker}" for kind in ("EXE", "SHARED")]
        if not self._logged(command):
            raise Failure(f"cannot configure; see {self.log}")

    def compiled_sources(self):
        with open(os.path.join(self.build, "compile_commands.json")) as file:
            return {os.path.relpath(entry["file"], self.tree) for entry in json.load(file)}

    def text_of(self, path):
        with open(os.path.join(self.tree, path), encoding="utf-8", newline="") as file:
            return file.read()

    def write(self, path, text):
        with open(os.path.join(self.tree, path), "w", encoding="utf-8", newline="") as file:
            file.write(text)

    def make(self, program):
        return self._logged(["ninja", "-C", self.build, f"-j{self.jobs}", program])

    def prove(self, program):
        """That the tests pass as the tree is; the processor seconds that they take."""
        if not self.make(program):
            raise Failure(f"{program} does not build; see {self.log}")
        start = time.monotonic()
        result, processor = self._run(program, 600, 3600)
        if result != "passed":
            raise Failure(f"{program}: the tests have {result} without any fault; see {self.log}")
        self.usual[program] = processor, time.monotonic() - start
        return processor

    def test(self, program):
        """passed, failed or timed out. Processor time decides, since others use the machine too;
        what only waits is ended late."""
        processor, seconds = self.usual[program]
        return self._run(program, int(2 * processor) + 3, 10 * seconds + 60)[0]

    def _logged(self, command):
        with open(self.log, "wb") as log:
            return subprocess.run(command, stdout=log, stderr=subprocess.STDOUT,
                                  stdin=subprocess.DEVNULL).returncode == 0

    def _run(self, program, processor_seconds, seconds):
        """The result, and the processor seconds of the program and what it started."""
        path, = glob.glob(os.path.join(self.build, "tests", "*", program))
        shutil.rmtree(self.scratch, ignore_errors=True)
        os.makedirs(self.scratch)
        environment = {**os.environ, "TMPDIR": self.scratch, "GTEST_FAIL_FAST": "1",
                       "GTEST_BRIEF": "1", "RC_PARAMS": f"seed={self.seed}"}

        def limit():
            resource.setrlimit(resource.RLIMIT_CPU, (processor_seconds, processor_seconds + 1))
            resource.setrlimit(resource.RLIMIT_AS, (16 * GIB, 16 * GIB))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

        before = _processor_seconds()
        with open(self.log, "wb") as log:
            process = subprocess.Popen(
                [path], cwd=os.path.dirname(path), env=environment, stdin=subprocess.DEVNULL,
                stdout=log, stderr=subprocess.STDOUT, start_new_session=True, preexec_fn=limit)
            try:
                status = process.wait(seconds)
            except subprocess.TimeoutExpired:
                status = -signal.SIGXCPU
            finally:
                _end(process)
                shutil.rmtree(self.scratch, ignore_errors=True)
        if status in (-signal.SIGXCPU, -signal.SIGKILL):
            return "timed out", 0
        return ("passed" if status == 0 else "failed"), _processor_seconds() - before


def _processor_seconds():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def _end(process):
    """With the processes that it started."""
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait()
