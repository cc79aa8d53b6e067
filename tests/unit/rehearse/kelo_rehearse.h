// Runs kelo-rehearse for a test, in the test's own folder.
#pragma once

#include "tests/support/own_folder.h"
#include "winsim/base/json.h"

#include <sys/wait.h>

#include <cstdio>
#include <sstream>
#include <string>

struct Rehearsal
{
    int exitStatus;
    std::string output; // both streams
};

class KeloRehearse : public OwnFolder
{
protected:
    std::string Content(const char* name) const
    {
        std::ostringstream content;
        content << std::ifstream(Path(name)).rdbuf();
        return content.str();
    }

    // Rehearses on a described machine. The program's own arguments follow " -- ".
    Rehearsal Run(const winsim::Json& machine, const std::string& options, const std::string& arguments = {}) const
    {
        return RunText(machine.dump(), options, arguments);
    }

    Rehearsal RunText(const std::string& description, const std::string& options,
                      const std::string& arguments = {}) const
    {
        return RunCommand(options + " " + Write("machine.json", description) + arguments);
    }

    static Rehearsal RunCommand(const std::string& words)
    {
        const auto program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "kelo-rehearse";
        return RunShell(program.string() + " " + words);
    }

    static Rehearsal RunShell(const std::string& command)
    {
        std::FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
        Rehearsal rehearsal{};
        for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe))
            rehearsal.output += static_cast<char>(c);
        rehearsal.exitStatus = WEXITSTATUS(pclose(pipe));
        return rehearsal;
    }
};
