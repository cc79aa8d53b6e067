// Keeps the smart-card readers of a simulated machine, and their JSON form.
#include "winsim/machine/smart_cards.h"

#include "winscard.h"
#include "winsim/base/named_values.h"

#include <utility>

namespace winsim
{

namespace
{

constexpr NamedValue kStatuses[] = {
    {SCARD_E_NO_SERVICE, "SCARD_E_NO_SERVICE"},
    {SCARD_E_SERVICE_STOPPED, "SCARD_E_SERVICE_STOPPED"},
};

// True and false stand for a manager that can be reached and for none.
std::uint32_t ReadManager(const Reader& reader)
{
    if (reader.Value().is_boolean())
        return reader.Flag() ? 0 : SCARD_E_NO_SERVICE;
    return ReadNamed(reader, kStatuses, "true, false or the status of connecting");
}

Json JsonOfManager(std::uint32_t status)
{
    return status == 0 ? Json(true) : NameOf(status, kStatuses);
}

std::vector<std::string> ReadNames(const Reader& reader)
{
    std::vector<std::string> names;
    reader.Elements([&](const Reader& name) { names.push_back(name.Text()); });
    return names;
}

} // namespace

std::vector<std::string> SmartCards::List()
{
    if (!readersThen)
        return readers;
    std::vector<std::string> listed = std::exchange(readers, std::move(*readersThen));
    readersThen.reset();
    return listed;
}

void SmartCards::Load(const Reader& reader)
{
    ObjectReader object{reader};
    object.With("manager", [&](const Reader& manager) { managerStatus = ReadManager(manager); });
    object.With("readers", [&](const Reader& names) { readers = ReadNames(names); });
    object.With("readersThen", [&](const Reader& names) { readersThen = ReadNames(names); });
    object.Read("zerosMissing", zerosMissing);
    object.Done();
}

Json SmartCards::ToJson() const
{
    Json json{{"manager", JsonOfManager(managerStatus)}, {"readers", readers}};
    if (readersThen)
        json["readersThen"] = *readersThen;
    if (zerosMissing != 0)
        json["zerosMissing"] = zerosMissing;
    return json;
}

} // namespace winsim
