"""Makes the proof kit, and the package that fails: proof_kit.zip and kelo_toolkit_failing.msi in the build for Windows.
With a place as its argument it makes only the kit, there. The same files make the same zip."""

import hashlib
import json
import pathlib
import shutil
import subprocess
import sys
import zipfile

PROOF = pathlib.Path(__file__).resolve().parent
sys.path.append(str(PROOF.parent / "tests" / "e2e"))

import paths  # noqa: E402,F401 (it lets the other modules be found)
from conformance_machine import PROGRAMS, script  # noqa: E402
from paths import WINDOWS  # noqa: E402

KIT = WINDOWS / "proof_kit.zip"
SAMPLE = WINDOWS / "kelo_toolkit_sample.msi"
FAILING = WINDOWS / "kelo_toolkit_failing.msi"
PROGRAM = WINDOWS / "KeloCustomAction.exe"
EARLIEST = (1980, 1, 1, 0, 0, 0)  # that a zip file can say
MODE = 0o644 << 16

# An action after all of the fragment's own that cannot find its program.
FAILURE = (
    "INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) "
    "VALUES ('KeloProofData', 51, 'KeloProofFailure', '\"[ToolkitFolder]KeloProofFailure.exe\"')",
    "INSERT INTO `CustomAction` (`Action`, `Type`, `Source`, `Target`) "
    "VALUES ('KeloProofFailure', 3073, 'KeloPackage.dll', 'RunProgram')",
    "INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) "
    "VALUES ('KeloProofData', 'NOT REMOVE', 5980)",
    "INSERT INTO `InstallExecuteSequence` (`Action`, `Condition`, `Sequence`) "
    "VALUES ('KeloProofFailure', 'NOT REMOVE', 5990)",
)


def identity():
    """Which program a kit proves: the digest of its file."""
    return {"program": hashlib.sha256(PROGRAM.read_bytes()).hexdigest()[:16]}


def make_failing_package():
    shutil.copyfile(SAMPLE, FAILING)
    for statement in FAILURE:
        subprocess.run(["msibuild", FAILING, "-q", statement], stdout=subprocess.DEVNULL, check=True)


def contents():
    """The bytes of each file of the kit."""
    yield "prove.cmd", (PROOF / "prove.cmd").read_bytes()
    yield "kit.json", json.dumps(identity()).encode()
    for file in (WINDOWS / "KeloProof.exe", WINDOWS / "KeloDescribe.exe", SAMPLE, FAILING):
        yield file.name, file.read_bytes()
    for name in PROGRAMS:
        yield f"conformance/{name}", (WINDOWS / name).read_bytes()
    yield "conformance/machine.txt", "".join(line + "\n" for line in script()).encode()


def make_kit(place):
    """Makes a kit from the packages and programs of the build."""
    unfinished = place.with_suffix(".part")
    with zipfile.ZipFile(unfinished, "w", zipfile.ZIP_DEFLATED) as kit:
        for name, data in contents():
            entry = zipfile.ZipInfo(f"kelo_proof/{name}", EARLIEST)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.create_system = 0  # the same from every host
            entry.external_attr = MODE
            kit.writestr(entry, data)
    unfinished.rename(place)


def main():
    if sys.argv[1:]:
        make_kit(pathlib.Path(sys.argv[1]))
    else:
        make_failing_package()
        make_kit(KIT)


if __name__ == "__main__":
    main()
