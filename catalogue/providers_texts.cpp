// The texts of src/providers: the key storage providers.
#include "catalogue/texts.h"

namespace catalogue
{

namespace
{

constexpr char kBrokenCng[] = "Windows' own bcrypt.dll is damaged, or replaced by another.";
constexpr char kCheckFiles[] = "Check Windows' files with \"sfc /scannow\".";
constexpr char kNotRegistered[] =
    "The provider is not registered, nor is any that would follow: the toolkit's keys cannot be used.";

} // namespace

std::vector<StepTexts> ProvidersTexts()
{
    using enum Kind;
    using enum Meaning;
    return {
        {"key storage providers",
         {
             {.format = "Kelo KSPs will not be installed, target system is not Vista+",
              .kind = Decision,
              .meaning = "Windows before Vista has no key storage providers; none is registered or removed."},
             {.format = "CNG bcrypt library not found",
              .kind = Failure,
              .meaning = "Windows' cryptography library could not be loaded.",
              .causes = kBrokenCng,
              .toDo = kCheckFiles},
             {.format = " Failed to GetProcAddress for BCryptRegisterProvider",
              .kind = Failure,
              .meaning = kNotRegistered,
              .causes = kBrokenCng,
              .toDo = kCheckFiles},
             {.format = " Failed to GetProcAddress for BCryptAddContextFunctionProvider",
              .kind = Failure,
              .meaning = "The provider is registered, but Windows does not offer it for keys.",
              .causes = kBrokenCng,
              .toDo = kCheckFiles},
             {.format = " Failed to GetProcAddress for BCryptUnregisterProvider",
              .kind = Failure,
              .meaning = "The provider stays registered.",
              .causes = kBrokenCng,
              .toDo = kCheckFiles},
             {.format = " Failed to GetProcAddress for BCryptRemoveContextFunctionProvider",
              .kind = Failure,
              .meaning = "The provider stays registered and offered for keys.",
              .causes = kBrokenCng,
              .toDo = kCheckFiles},
             {.format = "Register the %S\n",
              .kind = Begin,
              .meaning = "A provider is to be registered.",
              .values = {{"provider"}}},
             {.format = "BCryptRegisterProvider failed with error code 0x%08x\n",
              .kind = Failure,
              .meaning = kNotRegistered,
              .values = {{"status", NtStatus}},
              .causes = "The program runs without administrator rights. 0xC0000035 only says that the provider is "
                        "registered already.",
              .toDo = "Run the installation elevated.",
              .noiseOn = {0xC0000035}},
             {.format = "BCryptAddContextFunctionProvider failed with error code 0x%08x\n",
              .kind = Failure,
              .meaning = "The provider is registered, but Windows does not offer it for keys.",
              .values = {{"status", NtStatus}},
              .causes = "The program runs without administrator rights, or CNG's configuration is damaged.",
              .toDo = "Run the installation elevated; look at \"certutil -csplist\"."},
             {.format = "Successfully registered %S\n",
              .kind = Progress,
              .meaning = "The provider is registered.",
              .values = {{"provider"}}},
             {.format = "Already registered KSP %S\n",
              .kind = Noise,
              .meaning = "The first provider is registered since before.",
              .values = {{"provider"}}},
             {.format = "Already registered %S\n",
              .kind = Noise,
              .meaning = "The second provider is registered since before.",
              .values = {{"provider"}}},
             {.format = "Unregister the %S\n",
              .kind = Begin,
              .meaning = "A provider is to be removed.",
              .values = {{"provider"}}},
             {.format = "BCryptRemoveContextFunctionProvider failed with error code 0x%08x\n",
              .kind = Failure,
              .meaning = "The provider stays registered. With \"not found\" it was not there.",
              .values = {{"status", NtStatus}},
              .causes = "The provider was never registered, or is gone already (0xC0000225).",
              .toDo = "Look at \"certutil -csplist\" whether the provider is still listed.",
              .noiseOn = {0xC0000225}},
             {.format = "BCryptUnregisterProvider failed with error code 0x%08x\n",
              .kind = Failure,
              .meaning = "The provider is no longer offered for keys, but stays registered.",
              .values = {{"status", NtStatus}},
              .causes = "The provider was never registered, or is gone already (0xC0000225).",
              .toDo = "Look at \"certutil -csplist\" whether the provider is still listed.",
              .noiseOn = {0xC0000225}},
             {.format = "Successfully un-registered %S\n",
              .kind = Progress,
              .meaning = "The provider is removed.",
              .values = {{"provider"}}},
         }},
    };
}

} // namespace catalogue
