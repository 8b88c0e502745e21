"""What the scripts share that show damaged files to the commands of kve."""
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile

EXAMPLES = pathlib.Path(__file__).resolve().parents[1] / "examples"
SECONDS, MEGABYTES = 10, 400  # of the processor; the sanitizers' own memory included


def call(program, arguments, folder, good):
    """Runs kve in the folder. Returns what is wrong with its end, and its words. It may end with a status
    of `good`, or with 3; words that begin with "kve: " come with 2 and 3."""
    with open(folder / "words", "w+b") as words, open(folder / "shown", "wb") as shown:
        process = subprocess.Popen([program] + arguments, stdout=shown, stderr=words, cwd=folder)
        signal.alarm(30 * SECONDS)
        try:
            _, status, used = os.wait4(process.pid, 0)
        except TimeoutError:
            process.kill()
            _, status, used = os.wait4(process.pid, 0)
        signal.alarm(0)
        process.returncode = status
        words.seek(0)
        said = words.read().decode(errors="replace")
    status = os.waitstatus_to_exitcode(status)
    faults = []
    if status != 3 and status not in good:
        faults.append(f"status {status}")
    if (status >= 2) != said.startswith("kve: ") or "Sanitizer" in said or "runtime error" in said:
        faults.append("words")
    if used.ru_utime + used.ru_stime > SECONDS:
        faults.append(f"{used.ru_utime + used.ru_stime:.0f} seconds")
    if used.ru_maxrss > 1024 * MEGABYTES:
        faults.append(f"{used.ru_maxrss // 1024} MB")
    return faults, said


def give_up(*_):
    raise TimeoutError


def repeat(calls, seed, make_cases, damage_and_call):
    """Cases are made in a folder. Of each call its title, its folder, its faults and words come back; the
    folder of a faulty one is kept."""
    random.seed(seed)
    signal.signal(signal.SIGALRM, give_up)
    os.environ["ASAN_OPTIONS"] = "detect_leaks=0:allocator_may_return_null=1"
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    root = pathlib.Path(tempfile.mkdtemp(prefix="kve-hostile-", dir=memory))
    cases, n_found, n_refused = make_cases(root), 0, 0
    for n in range(calls):
        title, folder, (faults, said), restore = damage_and_call(cases)
        n_refused += said.startswith("kve: ")
        if faults:
            n_found += 1
            shutil.copytree(folder, f"{root}-found-{seed}-{n}")
            print(f"{root}-found-{seed}-{n}: {title}: {', '.join(faults)}\n{said[:600]}", flush=True)
        restore()
    shutil.rmtree(root)
    print(f"{calls} calls, {n_refused} refused, {n_found} findings")
    sys.exit(1 if n_found else 0)
