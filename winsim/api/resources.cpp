// LoadString: texts in the resources of a library.
#include "winsim/api/loaded_library.h"
#include "winsim/base/text.h"
#include "winsim/process/gate.h"
#include "winsim/process/simulation.h"

#include "winsim_types.h"
#include "winuser.h"

#include <algorithm>
#include <cstring>

using winsim::Call;
using winsim::LoadedLibrary;
using winsim::Simulation;

namespace
{

// Texts are stored in blocks of this many. If a block exists, its missing texts are empty.
constexpr UINT kTextsPerBlock = 16;

UINT BlockOf(UINT id)
{
    return id / kTextsPerBlock;
}

bool HasBlock(const winsim::Texts& texts, UINT block)
{
    return std::ranges::any_of(texts, [&](const auto& text) { return BlockOf(text.first) == block; });
}

// As many whole characters of a text as fit into a number of bytes.
std::string CutToFit(const std::string& ansi, std::size_t room)
{
    const auto& codePage = winsim::CodePage::Get(Simulation::Current().machine.windows.codePage);
    std::size_t length = 0;
    while (length < ansi.size())
    {
        const std::size_t bytes = codePage.IsLeadByte(static_cast<unsigned char>(ansi[length])) ? 2 : 1;
        if (length + bytes > room)
            break;
        length += bytes;
    }
    return ansi.substr(0, length);
}

} // namespace

int WINAPI LoadStringA(HINSTANCE hInstance, UINT uID, LPSTR lpBuffer, int cchBufferMax)
{
    Call call{__func__};
    call.In("hInstance", hInstance).In("uID", uID).In("cchBufferMax", cchBufferMax);
    return call.ResultOf(0, [&] {
        if (lpBuffer == nullptr)
            return call.Done(0);
        if (cchBufferMax <= 0)
            return call.Done(-1);
        *lpBuffer = '\0';
        // The program itself has no string resources.
        if (hInstance == nullptr)
            return call.Fail(0, ERROR_RESOURCE_TYPE_NOT_FOUND);
        Simulation& simulation = Simulation::Current();
        const auto* loaded = call.Find<LoadedLibrary>(hInstance);
        if (loaded == nullptr)
            return call.Fail(0, ERROR_RESOURCE_DATA_NOT_FOUND);
        const winsim::Texts& texts = loaded->library.TextsAt(loaded->path);
        if (texts.empty())
            return call.Fail(0, ERROR_RESOURCE_TYPE_NOT_FOUND);
        if (!HasBlock(texts, BlockOf(uID)))
            return call.Fail(0, ERROR_RESOURCE_NAME_NOT_FOUND);

        const auto text = texts.find(uID);
        const std::string ansi = text == texts.end() ? std::string() : simulation.ToAnsi(text->second);
        const std::string cut = CutToFit(ansi, static_cast<std::size_t>(cchBufferMax) - 1);
        std::memcpy(lpBuffer, cut.c_str(), cut.size() + 1);
        call.Out("lpBuffer", static_cast<const char*>(lpBuffer));
        return call.Done(static_cast<int>(cut.size()));
    });
}
