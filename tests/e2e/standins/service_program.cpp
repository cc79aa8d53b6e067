// A service program that goes through described states, and registers and unregisters itself as the toolkit's does.
#include "tests/e2e/standins/own_files.h"
#include "tests/e2e/standins/service_role.h"
#include "tests/support/test_text.h"

#include "standin_names.h"

#include <windows.h>

#include <winsvc.h>

#include <string>

namespace
{

int Register()
{
    const std::wstring path = L"\"" + OwnPath().wstring() + L"\"";
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CREATE_SERVICE);
    const SC_HANDLE service = CreateServiceW(manager, names::kService, names::kServiceTitle, SERVICE_ALL_ACCESS,
                                             SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                             path.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr);
    return service != nullptr ? 0 : static_cast<int>(GetLastError());
}

int Unregister()
{
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    const SC_HANDLE service = OpenServiceW(manager, names::kService, SERVICE_ALL_ACCESS);
    return DeleteService(service) ? 0 : static_cast<int>(GetLastError());
}

} // namespace

int wmain()
{
    // The toolkit's installer hands over the switch alone, without the program's name before it.
    const std::wstring commandLine = GetCommandLineW();
    const bool isRegister = commandLine == names::kRegister;
    if (!isRegister && commandLine != names::kUnregister)
        return RunAsService();
    AppendLine(Beside(names::kRuns), Utf8OfWide(commandLine));
    return isRegister ? Register() : Unregister();
}
