// The texts of src/entry: a run's frame and its options.
#include "catalogue/texts.h"

namespace catalogue
{

std::vector<StepTexts> EntryTexts()
{
    using enum Kind;
    return {
        {"options",
         {
             {.format = "============= Begin-> Kelo CSP (x64) Custom Action ===================",
              .kind = Begin,
              .meaning = "A run of the program begins."},
             {.format = "command line argc: %d",
              .kind = Progress,
              .meaning = "How many words the command line has, the program's name among them.",
              .values = {{"number of words"}},
              .causes = "A single word means that no action was given: the run ends with -1 and without another line."},
             {.format = "command line argv[%d]: %s",
              .kind = Progress,
              .meaning = "A word of the command line: 0 is the program, 1 the action, the others are options.",
              .values = {{"number of the word"}, {"the word"}}},
             {.format = "invalid command line arg provided",
              .kind = Failure,
              .meaning =
                  "The action is not one of /Setup, /Commit, /Rollback and /Uninstall; names are case-sensitive. "
                  "Nothing was done.",
              .causes = "The installer package starts the program with a wrong command line.",
              .toDo = "Correct the custom action's command line in the package.",
              .exitCode = -1},
             {.format = "VSC was not previously fully installed",
              .kind = Decision,
              .meaning = "The registry has no note that the virtual smart card was there at the last removal."},
             {.format = "When Toolkit was last uninstalled... the VSC was present, so must reinstall...",
              .kind = Decision,
              .meaning = "The virtual smart card will be installed, because the last removal found it."},
             {.format = "TSS Vendor: %s",
              .kind = Decision,
              .meaning = "The stack that the command line asks for, used when none is found usable.",
              .values = {{"KELO or NTRU12"}}},
             {.format = "TPM VSC Flag set... install VSC",
              .kind = Decision,
              .meaning = "The command line asks for the virtual smart card."},
             {.format = "TPM_WIN8 flag set, disable Win8 AutoProvisioning",
              .kind = Decision,
              .meaning = "The command line asks for automatic TPM provisioning to be switched off."},
             {.format = "ProductType flag set, disable Win8 AutoProvisioning",
              .kind = Decision,
              .meaning = "The product type holds \"Enterprise\": automatic TPM provisioning is to be switched off."},
         }},
        {"virtual smart card",
         {
             {.format = "Install TPM Virtual Smartcard.... ",
              .kind = Begin,
              .meaning = "The installation of the virtual smart card begins."},
         }},
        {"stack set-up",
         {
             {.format = "call SetupTCGDLL(%s, %s)",
              .kind = Begin,
              .meaning = "The set-up of a stack begins.",
              .values = {{"install folder"}, {"stack asked for, or nothing"}}},
         }},
        {"end",
         {
             {.format = "============= Kelo CSP Custom Action <-End ===================",
              .kind = Progress,
              .meaning = "The run reached its end. The line does not tell whether it succeeded."},
         }},
    };
}

} // namespace catalogue
