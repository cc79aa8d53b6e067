"""The images that record which code runs: how they are compiled and linked, and which lines each block of their code
belongs to."""

import collections
import functools
import json
import os
import pathlib
import re
import shlex
import subprocess

IMAGES = ["KeloCustomActionTests.so", "KeloCustomAction.so", "KeloCustomActionLibrary.so"]
NOTING = re.compile(r"/kelo_noting_\w+\.dir/")

# The output of `objdump --disassemble --line-numbers`: the beginning of a function, a line, and an instruction.
FUNCTION = re.compile(r"^[0-9a-f]+ <(.+)>:$")
LINE = re.compile(r"^(.+):(\d+)(?: \(discriminator \d+\))?$")
INSTRUCTION = re.compile(r"^ *([0-9a-f]+):\t(.*)$")


class Unit:
    """A compiled source, and its compiler arguments without the paths of the source and its object."""

    def __init__(self, root, entry):
        arguments = shlex.split(entry["command"])
        output = arguments.index("-o")
        self.object = arguments[output + 1]
        self.source = pathlib.Path(entry["file"]).resolve()
        self.path = str(self.source.relative_to(root))
        kept = arguments[1:output] + arguments[output + 2:-2]
        self.compiler = arguments[0]
        # A mutant may cause warnings.
        self.arguments = [argument for argument in kept if not argument.startswith("-W")] + ["-w", "-g0"]
        # It includes those that are precompiled.
        self.first_header = kept[kept.index("-include") + 1] if "-include" in kept else None

    def parser_arguments(self, language):
        return ["-x", language, "-std=c++20", "-fshort-wchar"] + [
            argument for argument in self.arguments if argument[:2] in ("-I", "-D")]

    def compile(self, folder, source, target, overlay=None):
        """Whether it compiles. Headers are looked for in the overlay first."""
        first = [f"-I{overlay}"] if overlay else []
        command = [self.compiler, *first, *self.arguments, "-o", target, "-c", source]
        return subprocess.run(command, cwd=folder, capture_output=True).returncode == 0


class Images:
    def __init__(self, root, build):
        self.root, self.build = root, build
        self.folder = build / "mutants"
        self.build_name = os.path.relpath(build, root)
        entries = json.loads((build / "compile_commands.json").read_text())
        # A unit outside src/ is, for example, the one source of the library's image.
        units = [Unit(root, entry) for entry in entries if NOTING.search(entry["command"])]
        self.units = {unit.path: unit for unit in units if unit.path.startswith("src/")}
        self.by_object = {unit.object: unit for unit in units}
        self.links = {image: self.link_command(image) for image in IMAGES}
        self.defining = {}  # by function: the first object of an image that defines it
        for image in IMAGES:
            self.defining[image] = self.functions_of([part for part in self.links[image] if part.endswith(".o")])

    def link_command(self, image):
        command = subprocess.run(["ninja", "-t", "commands", f"mutants/{image}"], cwd=self.build, check=True,
                                 capture_output=True, text=True).stdout.splitlines()[-1]
        return shlex.split(command.removeprefix(": && ").removesuffix(" && :"))

    def functions_of(self, objects):
        shown = subprocess.run(["nm", "-A", "--defined-only", *objects], cwd=self.build, check=True,
                               capture_output=True, text=True).stdout
        defining = {}
        for line in shown.splitlines():
            place, _, name = line.rsplit(" ", 2)
            defining.setdefault(name, place.split(":")[0])
        return defining

    def link(self, image, folder, replaced):
        """Links the image in a folder, with some objects replaced."""
        command = [str(replaced.get(part, part)) for part in self.links[image]]
        command[command.index("-o") + 1] = str(folder / image)
        command += ["-fuse-ld=lld", "-Wl,--strip-debug"]
        return subprocess.run(command, cwd=self.build, capture_output=True).returncode == 0

    def blocks(self, image):
        """For each block of code, by the address that it records: its lines, each with the function that it is compiled
        in."""
        shown = subprocess.run(["objdump", "--disassemble", "--line-numbers", "--no-show-raw-insn", "-j", ".text",
                                self.folder / image], check=True, capture_output=True, text=True).stdout
        blocks = collections.defaultdict(set)
        function = line = block = None
        is_call = False
        for text in shown.splitlines():
            if match := INSTRUCTION.match(text):
                if is_call:
                    block = int(match[1], 16)
                is_call = "<__sanitizer_cov_trace_pc>" in match[2] and "call" in match[2]
                if block is not None and line is not None:
                    blocks[block].add((*line, function))
            elif match := LINE.match(text):
                # A relative path is relative to the project's folder or, when the compiler was given an absolute one, to
                # the build's folder in it.
                path = os.path.normpath(match[1]).removeprefix(f"{self.build_name}/")
                line = (path, int(match[2])) if path.startswith("src/") else None
            elif match := FUNCTION.match(text):
                function, line, block = match[1], None, None
        return blocks

    def units_of_header(self, path, functions):
        """The units whose copies of a header's functions are in the images; all that include it, if it has no code."""
        objects = {self.defining[image][name] for image in IMAGES for name in functions if name in self.defining[image]}
        if objects:
            return [self.by_object[name] for name in sorted(objects)]
        return [unit for name, unit in self.by_object.items() if str(self.root / path) in self.sources[name]]

    @functools.cached_property
    def sources(self):
        """By object: the files that it was compiled from."""
        shown = subprocess.run(["ninja", "-t", "deps", *self.by_object], cwd=self.build, check=True,
                               capture_output=True, text=True).stdout
        found = {}
        for line in shown.splitlines():
            if line.startswith(" "):
                files.add(os.path.normpath(self.build / line.strip()))
            elif line:
                files = found.setdefault(line.split(":")[0], set())
        return found
