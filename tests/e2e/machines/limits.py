"""What a machine description can say and a Wine prefix cannot be, each with the reason."""

import copy

# Other differences between Wine and Windows are no part of a description; the tests avoid them:
# - Wine's service manager stops a service on which running ones depend, where Windows refuses (1051). So the toolkit's
#   service, which depends on others, runs only for a moment (parts.py).
# - It starts a service whose dependency does not start, where Windows fails (1068). So the one stack in cases.py that
#   does not start again is not the one on which the toolkit's service depends.
# - Wine accepts a move at the next start of a missing file, where Windows fails. So cases.py does not ask for the card
#   on machines without the card's files.
# - Wine has keys, services and folders of its own, and lacks some of a plain machine's: WINE in descriptions.py and
#   WINES_OWN_KEYS in setup/provision.py make both alike.

# Paths in a description; "*" stands for one name, "**" for the rest.
LIMITS = {
    "windows.version": "Wine knows only the versions 5.2 to 10.0",
    "windows.build": "Wine has one build of each version",
    "windows.servicePack": "Wine has one service pack of each version",
    "windows.platform": "Wine is always a Windows NT",
    "windows.wow64": "the program is a 64-bit image, and Wine's prefix a 64-bit system",
    "windows.codePage": "the code page comes with the locale that gives Wine its language",
    "windows.uiLanguage": "the language comes with Wine's locale; setup/provision.py has no locale for this one",
    "windows.userLanguage": "Wine has one language for its user and its windows",
    "clock": "time is real, and the zone is the prefix's",
    "process.processId": "Wine numbers processes itself",
    "process.threadId": "Wine numbers threads itself",
    "process.errorMode": "Wine starts every program with the usual error mode",
    "process.currentDirectory": "the program runs in the prefix's folder",
    "folders.*": "Wine's own folders are where they are",
    "environment.*": "Wine gives every process this variable itself",
    "registry.*.deniedAccess": "a real machine denies rights by access lists",
    "registry.*.values.*": "nobody changes a value between two reads",
    "files.*": "a folder of Wine's own is needed",
    "files.*.attributes": "Wine keeps only read-only, as a Unix permission",
    "files.*.owner": "Wine keeps a file's owner and access list as Unix permissions",
    "files.*.access": "Wine keeps a file's owner and access list as Unix permissions",
    "files.*.protected": "Wine keeps a file's owner and access list as Unix permissions",
    "files.*.deniedAccess": "a real machine denies rights by access lists",
    "libraries.*": "no stand-in can be like it",
    "token": "programs in a prefix run as its administrator, who has every privilege",
    "services.*.processId": "Wine numbers processes itself",
    "services.*.deniedAccess": "Wine's service manager gives an administrator every right",
    "services.*.grantsEveryRight": "Wine's service manager gives a handle the rights that were asked for",
    "services.*.markedForDeletion": "nobody has a handle to the service open",
    "services.*.states": "a stand-in goes through states when it is started or stopped, not by itself",
    "services.*.onStart.error": "a start fails for a reason of Wine's service manager's own",
    "services.*.onStop.error": "a stop fails for a reason of Wine's service manager's own",
    "processes.*.id": "Wine numbers processes itself",
    "processes.*.deniedAccess": "every process of a prefix may be opened",
    "processes.*.terminateError": "every process of a prefix may be ended",
    "programs.*.runs.*.startError": "a stand-in is a program that can be started",
    "programs.*.runs.*.runMs": "a stand-in ends at once: how long it ran is not in the log",
    "programs.*.runs.*.neverEnds": "a test has to end",
    "programs.*.runs.*.effects.**": "a stand-in changes only services, registry values and smart-card readers",
    "smartCards.readersThen": "the stand-in for the resource manager answers each question alike",
    "smartCards.zerosMissing": "the stand-in for the resource manager ends its lists as Windows does",
    "cng": "the stand-in keeps providers, and the order of those of key storage, but no other function",
    "wmi.namespaces": "the stand-in has the TPM's namespace as a plain machine has it, or none",
    "wmi.autoProvisioning": "the stand-in begins with what a plain machine has",
    "wmi.failures.*": "only the stand-in's own methods fail, with known results",
    "installer.properties.*": "the test's install session knows one text, CustomActionData",
    "events": "Wine keeps no event log",
    "faults": "the calls of the real program fail only for reasons of Wine's own",
    "pendingMoves": "a prefix begins without moves that wait for a restart",
}


class LeftOut(str):
    """A part of a description that a prefix is not like: its path as text, the path's names, and the reason."""

    def __new__(cls, *names):
        left_out = super().__new__(cls, ".".join(map(str, names)))
        left_out.names = names
        reasons = [reason for pattern, reason in LIMITS.items() if _fits(pattern.split("."), names)]
        if not reasons:
            raise KeyError(f"{left_out}: a prefix is not like it, and LIMITS in {__name__} has no reason")
        left_out.reason = reasons[0]
        return left_out


def without(description, left_out):
    """The description without the parts that a prefix is not like."""
    rest = copy.deepcopy(description)
    for item in sorted(left_out, key=lambda item: [str(name).zfill(4) for name in item.names], reverse=True):
        *names, last = item.names
        parent = rest
        for name in names:
            parent = parent[name]
        del parent[last]
    return rest


def _fits(pattern, names):
    if not pattern or not names:
        return not pattern and not names
    if pattern[0] == "**":
        return True
    return pattern[0] in ("*", str(names[0])) and _fits(pattern[1:], names[1:])
