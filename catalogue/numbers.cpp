// Lists numbers with their names.
#include "catalogue/numbers.h"

#include <span>

namespace catalogue
{

namespace
{

struct Row
{
    std::uint32_t number;
    const char* name;
    const char* meaning;
};

constexpr Row kWin32[] = {
    {0, "ERROR_SUCCESS", "no error"},
    {1, "ERROR_INVALID_FUNCTION", "the function is not possible here"},
    {2, "ERROR_FILE_NOT_FOUND", "there is no such file or entry"},
    {3, "ERROR_PATH_NOT_FOUND", "there is no such folder"},
    {5, "ERROR_ACCESS_DENIED", "access denied"},
    {6, "ERROR_INVALID_HANDLE", "the handle is not valid"},
    {8, "ERROR_NOT_ENOUGH_MEMORY", "too little memory"},
    {13, "ERROR_INVALID_DATA", "the data is not valid"},
    {14, "ERROR_OUTOFMEMORY", "out of memory"},
    {32, "ERROR_SHARING_VIOLATION", "another program uses the file"},
    {33, "ERROR_LOCK_VIOLATION", "another program has locked part of the file"},
    {50, "ERROR_NOT_SUPPORTED", "not supported"},
    {53, "ERROR_BAD_NETPATH", "the network path was not found"},
    {80, "ERROR_FILE_EXISTS", "the file exists already"},
    {82, "ERROR_CANNOT_MAKE", "the folder or file cannot be made"},
    {87, "ERROR_INVALID_PARAMETER", "a parameter is wrong"},
    {112, "ERROR_DISK_FULL", "the disk is full"},
    {120, "ERROR_CALL_NOT_IMPLEMENTED", "not available on this Windows"},
    {122, "ERROR_INSUFFICIENT_BUFFER", "the buffer is too small"},
    {123, "ERROR_INVALID_NAME", "the name is not valid"},
    {126, "ERROR_MOD_NOT_FOUND", "the library, or one that it needs, was not found"},
    {127, "ERROR_PROC_NOT_FOUND", "the library lacks a function"},
    {161, "ERROR_BAD_PATHNAME", "the path is not valid"},
    {183, "ERROR_ALREADY_EXISTS", "it exists already"},
    {193, "ERROR_BAD_EXE_FORMAT", "not a program of this kind (32 and 64 bits mixed, or damaged)"},
    {203, "ERROR_ENVVAR_NOT_FOUND", "there is no such environment variable"},
    {206, "ERROR_FILENAME_EXCED_RANGE", "the path is too long"},
    {234, "ERROR_MORE_DATA", "there is more data"},
    {299, "ERROR_PARTIAL_COPY", "only part could be read (32 and 64 bits mixed)"},
    {740, "ERROR_ELEVATION_REQUIRED", "administrator rights are needed"},
    {997, "ERROR_IO_PENDING", "still on its way"},
    {998, "ERROR_NOACCESS", "invalid access to memory"},
    {1004, "ERROR_INVALID_FLAGS", "wrong flags"},
    {1018, "ERROR_KEY_DELETED", "the registry key is marked for deletion"},
    {1021, "ERROR_CHILD_MUST_BE_VOLATILE", "a permanent key below one that lasts until the next start"},
    {1051, "ERROR_DEPENDENT_SERVICES_RUNNING", "other running services depend on it"},
    {1052, "ERROR_INVALID_SERVICE_CONTROL", "the service does not accept this order"},
    {1053, "ERROR_SERVICE_REQUEST_TIMEOUT", "the service did not report in time"},
    {1054, "ERROR_SERVICE_NO_THREAD", "no thread could be made for the service"},
    {1055, "ERROR_SERVICE_DATABASE_LOCKED", "the service database is locked"},
    {1056, "ERROR_SERVICE_ALREADY_RUNNING", "the service runs already"},
    {1057, "ERROR_INVALID_SERVICE_ACCOUNT", "the service's account is not valid"},
    {1058, "ERROR_SERVICE_DISABLED", "the service is disabled"},
    {1059, "ERROR_CIRCULAR_DEPENDENCY", "services would depend on each other in a circle"},
    {1060, "ERROR_SERVICE_DOES_NOT_EXIST", "there is no such service"},
    {1061, "ERROR_SERVICE_CANNOT_ACCEPT_CTRL", "the service takes no orders at present"},
    {1062, "ERROR_SERVICE_NOT_ACTIVE", "the service does not run"},
    {1064, "ERROR_EXCEPTION_IN_SERVICE", "the service crashed while it handled the order"},
    {1065, "ERROR_DATABASE_DOES_NOT_EXIST", "there is no such service database"},
    {1066, "ERROR_SERVICE_SPECIFIC_ERROR", "the service ended with an error of its own"},
    {1067, "ERROR_PROCESS_ABORTED", "the service's process ended unexpectedly"},
    {1068, "ERROR_SERVICE_DEPENDENCY_FAIL", "a service that it depends on did not start"},
    {1069, "ERROR_SERVICE_LOGON_FAILED", "the service's account could not log on"},
    {1070, "ERROR_SERVICE_START_HANG", "the service hung when it was started"},
    {1072, "ERROR_SERVICE_MARKED_FOR_DELETE", "the service is marked for deletion; a restart removes it"},
    {1073, "ERROR_SERVICE_EXISTS", "the service exists already"},
    {1075, "ERROR_SERVICE_DEPENDENCY_DELETED", "a service that it depends on is not there"},
    {1077, "ERROR_SERVICE_NEVER_STARTED", "the service was not started since Windows started"},
    {1113, "ERROR_NO_UNICODE_TRANSLATION", "a character has no place in the other code page"},
    {1115, "ERROR_SHUTDOWN_IN_PROGRESS", "Windows is shutting down"},
    {1150, "ERROR_OLD_WIN_VERSION", "Windows is too old for this"},
    {1223, "ERROR_CANCELLED", "the user cancelled"},
    {1300, "ERROR_NOT_ALL_ASSIGNED", "the account lacks a privilege"},
    {1307, "ERROR_INVALID_OWNER", "the account may not own this"},
    {1313, "ERROR_NO_SUCH_PRIVILEGE", "there is no such privilege"},
    {1314, "ERROR_PRIVILEGE_NOT_HELD", "the account lacks the privilege"},
    {1332, "ERROR_NONE_MAPPED", "the account's name and identifier do not belong together"},
    {1336, "ERROR_INVALID_ACL", "the access list is not valid"},
    {1337, "ERROR_INVALID_SID", "the account's identifier is not valid"},
    {1450, "ERROR_NO_SYSTEM_RESOURCES", "Windows is short of resources"},
    {1460, "ERROR_TIMEOUT", "it took too long"},
    {1500, "ERROR_EVENTLOG_FILE_CORRUPT", "the event log is damaged"},
    {1502, "ERROR_LOG_FILE_FULL", "the event log is full"},
    {1601, "ERROR_INSTALL_SERVICE_FAILURE", "the installer service is not reachable"},
    {1602, "ERROR_INSTALL_USEREXIT", "the user cancelled the installation"},
    {1603, "ERROR_INSTALL_FAILURE", "the installation failed"},
    {1717, "RPC_S_UNKNOWN_IF", "the other side does not know the request"},
    {1722, "RPC_S_SERVER_UNAVAILABLE", "the service of Windows is not reachable"},
    {1812, "ERROR_RESOURCE_DATA_NOT_FOUND", "the file has no resources"},
    {1813, "ERROR_RESOURCE_TYPE_NOT_FOUND", "the file has no version information"},
    {1814, "ERROR_RESOURCE_NAME_NOT_FOUND", "the file lacks the text"},
    {1815, "ERROR_RESOURCE_LANG_NOT_FOUND", "the file lacks the language"},
    {2404, "ERROR_DEVICE_IN_USE", "the device is in use"},
    {3010, "ERROR_SUCCESS_REBOOT_REQUIRED", "done, after a restart of Windows"},
    {0x80004002, "E_NOINTERFACE", "the object lacks the interface"},
    {0x80004005, "E_FAIL", "it failed, without a reason"},
    {0x80010106, "RPC_E_CHANGED_MODE", "the thread has another kind of apartment already"},
    {0x80040154, "REGDB_E_CLASSNOTREG", "the COM class is not registered"},
    {0x80041001, "WBEM_E_FAILED", "WMI failed, without a reason"},
    {0x80041002, "WBEM_E_NOT_FOUND", "WMI does not find the object"},
    {0x80041003, "WBEM_E_ACCESS_DENIED", "WMI denies access"},
    {0x80041005, "WBEM_E_TYPE_MISMATCH", "WMI expects another type"},
    {0x80041006, "WBEM_E_OUT_OF_MEMORY", "WMI is out of memory"},
    {0x80041008, "WBEM_E_INVALID_PARAMETER", "WMI finds a parameter wrong"},
    {0x8004100E, "WBEM_E_INVALID_NAMESPACE", "WMI has no such namespace (no TPM provider)"},
    {0x80041010, "WBEM_E_INVALID_CLASS", "WMI has no such class"},
    {0x80041055, "WBEM_E_METHOD_DISABLED", "the WMI method is disabled"},
    {0x80070005, "E_ACCESSDENIED", "access denied"},
    {0x8007000E, "E_OUTOFMEMORY", "out of memory"},
    {0x80070057, "E_INVALIDARG", "a parameter is wrong"},
    {0x800706BA, "RPC_S_SERVER_UNAVAILABLE", "the service of Windows is not reachable"},
    {0x80080005, "CO_E_SERVER_EXEC_FAILURE", "the COM server did not start"},
};

constexpr Row kNtStatus[] = {
    {0x00000000, "STATUS_SUCCESS", "no error"},
    {0xC0000008, "STATUS_INVALID_HANDLE", "the handle is not valid"},
    {0xC000000D, "STATUS_INVALID_PARAMETER", "a parameter is wrong"},
    {0xC0000017, "STATUS_NO_MEMORY", "too little memory"},
    {0xC0000022, "STATUS_ACCESS_DENIED", "access denied"},
    {0xC0000035, "STATUS_OBJECT_NAME_COLLISION", "it is registered already"},
    {0xC00000BB, "STATUS_NOT_SUPPORTED", "not supported"},
    {0xC0000225, "STATUS_NOT_FOUND", "it is not registered"},
};

constexpr Row kSCard[] = {
    {0x80100001, "SCARD_F_INTERNAL_ERROR", "an internal error of the smart-card resource manager"},
    {0x80100003, "SCARD_E_INVALID_HANDLE", "the handle is not valid"},
    {0x80100004, "SCARD_E_INVALID_PARAMETER", "a parameter is wrong"},
    {0x80100006, "SCARD_E_NO_MEMORY", "too little memory"},
    {0x80100008, "SCARD_E_INSUFFICIENT_BUFFER", "the list of readers grew meanwhile"},
    {0x8010001D, "SCARD_E_NO_SERVICE", "the smart-card resource manager does not run"},
    {0x8010001E, "SCARD_E_SERVICE_STOPPED", "the smart-card resource manager was stopped"},
    {0x8010002E, "SCARD_E_NO_READERS_AVAILABLE", "there is no reader"},
};

constexpr Row kServiceStates[] = {
    {1, "SERVICE_STOPPED", "stopped"},
    {2, "SERVICE_START_PENDING", "starting"},
    {3, "SERVICE_STOP_PENDING", "stopping"},
    {4, "SERVICE_RUNNING", "running"},
    {5, "SERVICE_CONTINUE_PENDING", "resuming"},
    {6, "SERVICE_PAUSE_PENDING", "pausing"},
    {7, "SERVICE_PAUSED", "paused"},
};

constexpr Row kStopResults[] = {
    {1, "", "it had been stopping already, and stopped"},
    {0xFFFFFFFF, "", "it did not stop within 30 seconds"},
    {0xFFFFFFFE, "", "its state could not be read"},
};

constexpr Row kResultCodes[] = {
    {0, "", "success"},
    {10001, "", "CustomActionData cannot be read"},
    {10015, "", "the detection library lacks a function"},
    {10016, "", "the stack or the TPM is not usable"},
    {10039, "", "the key of the pass-through provider cannot be made"},
    {10040, "", "the value of the pass-through provider cannot be written"},
};

constexpr Row kExitCodes[] = {
    {0, "", "success"},
};

std::span<const Row> RowsOf(Meaning meaning)
{
    switch (meaning)
    {
    case Meaning::Win32:
        return kWin32;
    case Meaning::NtStatus:
        return kNtStatus;
    case Meaning::SCard:
        return kSCard;
    case Meaning::ServiceState:
        return kServiceStates;
    case Meaning::StopResult:
        return kStopResults;
    case Meaning::ResultCode:
    case Meaning::StackAnswer:
        return kResultCodes;
    case Meaning::ExitCode:
        return kExitCodes;
    default:
        return {};
    }
}

} // namespace

Number Explain(std::uint32_t number, Meaning meaning)
{
    for (const Row& row : RowsOf(meaning))
    {
        if (row.number == number)
            return {row.name, row.meaning};
    }
    return {};
}

} // namespace catalogue
