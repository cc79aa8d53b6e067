"""Parts of machines that the tests merge: descriptions."""

from machines.descriptions import merged
from product import (BLOCKED_COMMANDS, BLOCKED_COMMANDS_KEY, CARD_LIBRARIES, CARD_SCRIPTS, COMMON_KEY,
                     COMMON_KEY_WITH_PERIOD, INSTALLATION_PATH, KELO_STACK, NO_TASKS, NTRU_FOLDER, NTRU_STACK,
                     PROGRAM_FILES, READER, READER_DEVICE, REGISTER, SERVICE, SERVICE_TITLE, SHIM, TASK_LIBRARY,
                     TASKS_WANTED, TOOLKIT, UNREGISTER, USABLE_ANSWERS, VENDORS, probe, stager, text_library)

# Services that start and stop so fast that a test is soon over.
FAST = {"onStart": {"states": [{"state": "startPending"}, {"afterMs": 20, "state": "running"}]},
        "onStop": {"states": [{"state": "stopPending"}, {"afterMs": 20, "state": "stopped"}]}}

SLOW = {"onStart": {"states": [{"state": "startPending"}, {"afterMs": 700, "state": "running"}]},
        "onStop": {"states": [{"state": "stopPending"}, {"afterMs": 400, "state": "stopped"}]}}

RUNS_AT_ONCE = {"onStart": {"states": [{"state": "running"}]}}

# If it went on running, a second set-up would find it running, and the services that it depends on could not be
# stopped; Wine's service manager stops them all the same. The moment is long enough for Wine's service manager to see
# the service running even on a busy machine: one that it finds stopped has not started (1053).
FOR_A_MOMENT = {"onStart": {"states": [{"state": "startPending"}, {"afterMs": 20, "state": "running"},
                                       {"afterMs": 600, "state": "stopped"}]}}

# The services of a plain machine.
PLAIN = {"services": {"TBS": FAST, "SCardSvr": {}, "CertPropSvc": {}}}

WINDOWS_XP = {"windows": {"version": "5.2"}, "services": {"TBS": None}}  # the 64-bit one
VISTA, WINDOWS_7, WINDOWS_8, WINDOWS_8_1, WINDOWS_10 = (
    {"windows": {"version": version}} for version in ("6.0", "6.1", "6.2", "6.3", "10.0"))


def speaking(language, code_page=1252):
    return {"windows": {"uiLanguage": language, "userLanguage": language, "codePage": code_page}}


GERMAN, JAPANESE, BRAZILIAN, NORWEGIAN, POLISH, TAIWANESE = (
    speaking(*spoken) for spoken in ((1031,), (1041, 932), (1046,), (1044,), (1045, 1250), (1028, 950)))


def texts(*languages):
    """The libraries of texts."""
    return {"libraries": {text_library(language): {} for language in languages}}


SOME_TEXTS = texts("en", "de", "ja", "pt-BR", "no", "zh-CHT")


def detection(vendor, folder=TOOLKIT, **answers):
    """A detection library that finds its stack usable unless it answers otherwise; None is a missing function."""
    exports = {**USABLE_ANSWERS, **answers}
    return {"libraries": {probe(vendor, folder): {
        "exports": {name: answer for name, answer in exports.items() if answer is not None}}}}


def detections(**answers):
    """The detection libraries of both vendors."""
    return merged(*(detection(vendor, **answers) for vendor in VENDORS))


def tasks(folder=TOOLKIT, wanted=1, path=None, **answers):
    """The task library, and the values that lead to it."""
    return {"libraries": {rf"{folder}\{TASK_LIBRARY}": {"exports": {**NO_TASKS, **answers}}},
            "registry": {COMMON_KEY: {"values": {INSTALLATION_PATH: path or folder, TASKS_WANTED: wanted}}}}


def service(name, folder, **members):
    """A service and its program."""
    program = rf"{folder}\{name.removesuffix('.exe')}.exe"
    return {"services": {name: {"binaryPath": f'"{program}"', **members}}, "programs": {program: {}},
            "files": {program: {}}}


def kelo_stack(**members):
    return service(KELO_STACK, PROGRAM_FILES + r"\TSS",
                   **{"displayName": "Kelo TSS Core Service", "start": "auto", "state": "running", **FAST, **members})


def ntru_stack(**members):
    return service(NTRU_STACK, NTRU_FOLDER,
                   **{"displayName": "NTRU TSS", "start": "auto", "state": "running", **FAST, **members})


def toolkit_service(folder=TOOLKIT, **behaviour):
    """The toolkit's service program, which registers and unregisters its service; that runs for a moment unless it is
    said to behave otherwise."""
    path = rf"{folder}\{SERVICE}.exe"
    registered = {"displayName": SERVICE_TITLE, "start": "demand", "binaryPath": f'"{path}"',
                  **(behaviour or FOR_A_MOMENT)}
    return {"programs": {path: {"runs": [{"arguments": REGISTER, "effects": {"services": {SERVICE: registered}}},
                                         {"arguments": UNREGISTER, "effects": {"services": {SERVICE: None}}}]}}}


def device_installer(folder=TOOLKIT, exit_code=0):
    """The driver packages with a device installer that adds and removes the reader."""
    packages = rf"{folder}\TPM_VSCard"
    return {
        "files": {rf"{packages}\{name}": {"text": f"the first {name}"} for name in (*CARD_LIBRARIES, *CARD_SCRIPTS)},
        "programs": {stager(folder): {"runs": [
            *({"arguments": f"{verb} {READER_DEVICE}", "exitCode": exit_code,
               "effects": {"smartCards": {"readers": readers}}}
              for verb, readers in (("install", [READER]), ("remove", []))),
            {"exitCode": exit_code}]}}}


def shims(folder=TOOLKIT):
    """The shim library that the toolkit brings."""
    return {"files": {rf"{folder}\NTRU12\{SHIM}": {"text": "the toolkit's shim"}}}


def blocked(*commands):
    return {"registry": {BLOCKED_COMMANDS_KEY: {"values": {str(command): "" for command in commands}}}}


# The toolkit as its package leaves it, where neither stack is found usable.
INSTALLED = merged(PLAIN, SOME_TEXTS, tasks(), toolkit_service(),
                   device_installer(), shims(), blocked(*BLOCKED_COMMANDS), detections(DetectTSS=2),
                   {"registry": {COMMON_KEY_WITH_PERIOD: {"values": {INSTALLATION_PATH: TOOLKIT}}}})
USABLE = merged(INSTALLED, detection("KELO"), kelo_stack())
