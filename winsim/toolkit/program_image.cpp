// Finds the images of the toolkit's program.
#include "winsim/toolkit/program_image.h"

#include "winsim/toolkit/install_log.h"
#include "winsim/toolkit/secrets.h"

#include <filesystem>

namespace winsim
{

Program ImageBeside(const std::string& fileName)
{
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe");
    return Program{(self.parent_path() / fileName).string(), {&SecretsOf, &HideSecrets, &MessageOf}};
}

} // namespace winsim
