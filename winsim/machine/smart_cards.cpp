// The smart-card readers of a simulated machine, and their JSON form.
#include "winsim/machine/smart_cards.h"

#include "winsim/base/fields.h"
#include "winsim/machine/areas.h"

#include <utility>

namespace winsim
{

namespace
{

constexpr std::uint32_t kNoService = 0x8010001D;

constexpr NamedValue kStatuses[] = {
    {kNoService, "SCARD_E_NO_SERVICE"},
    {0x8010001E, "SCARD_E_SERVICE_STOPPED"},
};

// True means that connecting succeeds, and false that there is no resource manager.
struct ManagerForm
{
    static constexpr Named kForm{kStatuses, "true, false or the status of connecting"};

    void Read(const Reader& reader, std::uint32_t& status) const
    {
        if (reader.Value().is_boolean())
            status = reader.Flag() ? 0 : kNoService;
        else
            kForm.Read(reader, status);
    }
    Json Save(std::uint32_t status) const { return status == 0 ? Json(true) : kForm.Save(status); }
    Json Schema(Json& definitions) const
    {
        Json schema = kForm.Schema(definitions);
        schema["anyOf"].push_back({{"type", "boolean"}});
        return schema;
    }
};

} // namespace

template <>
struct Fields<SmartCards>
{
    static constexpr char kName[] = "smartCards";

    template <typename Visitor>
    static void Visit(Visitor& visit)
    {
        visit(Key{"manager",
                  "whether the resource manager can be reached, or the status with which connecting to it fails: "
                  "`\"SCARD_E_NO_SERVICE\"`, `\"SCARD_E_SERVICE_STOPPED\"` or a number",
                  "`true`"},
              Always(&SmartCards::managerStatus, ManagerForm()));
        visit(Key{"readers", "names of the readers: a list; whoever reads it stops at an empty name", "none"},
              Always(&SmartCards::readers));
        visit(Key{"readersThen", "the readers from the second listing on", "the same"},
              Member(&SmartCards::readersThen));
        visit(Key{"zerosMissing", "how many of the zeros that end the list of readers are missing", "`0`"},
              Member(&SmartCards::zerosMissing));
    }
};

template struct AreaOfFields<SmartCards>;

std::vector<std::string> SmartCards::List()
{
    if (!readersThen)
        return readers;
    std::vector<std::string> listed = std::exchange(readers, std::move(*readersThen));
    readersThen.reset();
    return listed;
}

} // namespace winsim
