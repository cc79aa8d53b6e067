// Looks errors up by name.
#include "winsim/base/error_names.h"

namespace winsim
{

namespace
{

constexpr NamedValue kWin32Names[] = {
    {1, "ERROR_INVALID_FUNCTION"},
    {2, "ERROR_FILE_NOT_FOUND"},
    {3, "ERROR_PATH_NOT_FOUND"},
    {4, "ERROR_TOO_MANY_OPEN_FILES"},
    {5, "ERROR_ACCESS_DENIED"},
    {6, "ERROR_INVALID_HANDLE"},
    {8, "ERROR_NOT_ENOUGH_MEMORY"},
    {14, "ERROR_OUTOFMEMORY"},
    {15, "ERROR_INVALID_DRIVE"},
    {17, "ERROR_NOT_SAME_DEVICE"},
    {18, "ERROR_NO_MORE_FILES"},
    {19, "ERROR_WRITE_PROTECT"},
    {21, "ERROR_NOT_READY"},
    {31, "ERROR_GEN_FAILURE"},
    {32, "ERROR_SHARING_VIOLATION"},
    {33, "ERROR_LOCK_VIOLATION"},
    {38, "ERROR_HANDLE_EOF"},
    {39, "ERROR_HANDLE_DISK_FULL"},
    {50, "ERROR_NOT_SUPPORTED"},
    {53, "ERROR_BAD_NETPATH"},
    {80, "ERROR_FILE_EXISTS"},
    {82, "ERROR_CANNOT_MAKE"},
    {87, "ERROR_INVALID_PARAMETER"},
    {112, "ERROR_DISK_FULL"},
    {120, "ERROR_CALL_NOT_IMPLEMENTED"},
    {122, "ERROR_INSUFFICIENT_BUFFER"},
    {123, "ERROR_INVALID_NAME"},
    {126, "ERROR_MOD_NOT_FOUND"},
    {127, "ERROR_PROC_NOT_FOUND"},
    {145, "ERROR_DIR_NOT_EMPTY"},
    {160, "ERROR_BAD_ARGUMENTS"},
    {161, "ERROR_BAD_PATHNAME"},
    {170, "ERROR_BUSY"},
    {183, "ERROR_ALREADY_EXISTS"},
    {193, "ERROR_BAD_EXE_FORMAT"},
    {203, "ERROR_ENVVAR_NOT_FOUND"},
    {206, "ERROR_FILENAME_EXCED_RANGE"},
    {234, "ERROR_MORE_DATA"},
    {259, "ERROR_NO_MORE_ITEMS"},
    {299, "ERROR_PARTIAL_COPY"},
    {740, "ERROR_ELEVATION_REQUIRED"},
    {995, "ERROR_OPERATION_ABORTED"},
    {998, "ERROR_NOACCESS"},
    {1004, "ERROR_INVALID_FLAGS"},
    {1009, "ERROR_BADDB"},
    {1010, "ERROR_BADKEY"},
    {1011, "ERROR_CANTOPEN"},
    {1012, "ERROR_CANTREAD"},
    {1013, "ERROR_CANTWRITE"},
    {1018, "ERROR_KEY_DELETED"},
    {1021, "ERROR_CHILD_MUST_BE_VOLATILE"},
    {1051, "ERROR_DEPENDENT_SERVICES_RUNNING"},
    {1052, "ERROR_INVALID_SERVICE_CONTROL"},
    {1053, "ERROR_SERVICE_REQUEST_TIMEOUT"},
    {1054, "ERROR_SERVICE_NO_THREAD"},
    {1055, "ERROR_SERVICE_DATABASE_LOCKED"},
    {1056, "ERROR_SERVICE_ALREADY_RUNNING"},
    {1057, "ERROR_INVALID_SERVICE_ACCOUNT"},
    {1058, "ERROR_SERVICE_DISABLED"},
    {1059, "ERROR_CIRCULAR_DEPENDENCY"},
    {1060, "ERROR_SERVICE_DOES_NOT_EXIST"},
    {1061, "ERROR_SERVICE_CANNOT_ACCEPT_CTRL"},
    {1062, "ERROR_SERVICE_NOT_ACTIVE"},
    {1065, "ERROR_DATABASE_DOES_NOT_EXIST"},
    {1066, "ERROR_SERVICE_SPECIFIC_ERROR"},
    {1068, "ERROR_SERVICE_DEPENDENCY_FAIL"},
    {1069, "ERROR_SERVICE_LOGON_FAILED"},
    {1070, "ERROR_SERVICE_START_HANG"},
    {1072, "ERROR_SERVICE_MARKED_FOR_DELETE"},
    {1073, "ERROR_SERVICE_EXISTS"},
    {1075, "ERROR_SERVICE_DEPENDENCY_DELETED"},
    {1113, "ERROR_NO_UNICODE_TRANSLATION"},
    {1115, "ERROR_SHUTDOWN_IN_PROGRESS"},
    {1150, "ERROR_OLD_WIN_VERSION"},
    {1300, "ERROR_NOT_ALL_ASSIGNED"},
    {1307, "ERROR_INVALID_OWNER"},
    {1313, "ERROR_NO_SUCH_PRIVILEGE"},
    {1314, "ERROR_PRIVILEGE_NOT_HELD"},
    {1332, "ERROR_NONE_MAPPED"},
    {1336, "ERROR_INVALID_ACL"},
    {1337, "ERROR_INVALID_SID"},
    {1450, "ERROR_NO_SYSTEM_RESOURCES"},
    {1500, "ERROR_EVENTLOG_FILE_CORRUPT"},
    {1502, "ERROR_LOG_FILE_FULL"},
    {1601, "ERROR_INSTALL_SERVICE_FAILURE"},
    {1602, "ERROR_INSTALL_USEREXIT"},
    {1603, "ERROR_INSTALL_FAILURE"},
    {1608, "ERROR_UNKNOWN_PROPERTY"},
    {1609, "ERROR_INVALID_HANDLE_STATE"},
    {1717, "RPC_S_UNKNOWN_IF"},
    {1722, "RPC_S_SERVER_UNAVAILABLE"},
    {1812, "ERROR_RESOURCE_DATA_NOT_FOUND"},
    {1813, "ERROR_RESOURCE_TYPE_NOT_FOUND"},
    {1814, "ERROR_RESOURCE_NAME_NOT_FOUND"},
    {1815, "ERROR_RESOURCE_LANG_NOT_FOUND"},
};

constexpr NamedValue kHResultNames[] = {
    {0x80004001, "E_NOTIMPL"},
    {0x80004002, "E_NOINTERFACE"},
    {0x80004003, "E_POINTER"},
    {0x80004004, "E_ABORT"},
    {0x80004005, "E_FAIL"},
    {0x8000FFFF, "E_UNEXPECTED"},
    {0x80010106, "RPC_E_CHANGED_MODE"},
    {0x80041001, "WBEM_E_FAILED"},
    {0x80041002, "WBEM_E_NOT_FOUND"},
    {0x80041003, "WBEM_E_ACCESS_DENIED"},
    {0x80041004, "WBEM_E_PROVIDER_FAILURE"},
    {0x80041005, "WBEM_E_TYPE_MISMATCH"},
    {0x80041006, "WBEM_E_OUT_OF_MEMORY"},
    {0x80041007, "WBEM_E_INVALID_CONTEXT"},
    {0x80041008, "WBEM_E_INVALID_PARAMETER"},
    {0x80041009, "WBEM_E_NOT_AVAILABLE"},
    {0x8004100A, "WBEM_E_CRITICAL_ERROR"},
    {0x8004100E, "WBEM_E_INVALID_NAMESPACE"},
    {0x80041010, "WBEM_E_INVALID_CLASS"},
    {0x80041011, "WBEM_E_PROVIDER_NOT_FOUND"},
    {0x80041013, "WBEM_E_PROVIDER_LOAD_FAILURE"},
    {0x8004102E, "WBEM_E_INVALID_METHOD"},
    {0x80041055, "WBEM_E_METHOD_NOT_IMPLEMENTED"},
    {0x80040154, "REGDB_E_CLASSNOTREG"},
    {0x80070005, "E_ACCESSDENIED"},
    {0x80070006, "E_HANDLE"},
    {0x8007000E, "E_OUTOFMEMORY"},
    {0x80070057, "E_INVALIDARG"},
    {0x800401F0, "CO_E_NOTINITIALIZED"},
    {0x80080005, "CO_E_SERVER_EXEC_FAILURE"},
};

constexpr NamedValue kNtStatusNames[] = {
    {0xC0000001, "STATUS_UNSUCCESSFUL"},
    {0xC0000002, "STATUS_NOT_IMPLEMENTED"},
    {0xC0000008, "STATUS_INVALID_HANDLE"},
    {0xC000000D, "STATUS_INVALID_PARAMETER"},
    {0xC0000017, "STATUS_NO_MEMORY"},
    {0xC0000022, "STATUS_ACCESS_DENIED"},
    {0xC0000023, "STATUS_BUFFER_TOO_SMALL"},
    {0xC0000034, "STATUS_OBJECT_NAME_NOT_FOUND"},
    {0xC0000035, "STATUS_OBJECT_NAME_COLLISION"},
    {0xC000009A, "STATUS_INSUFFICIENT_RESOURCES"},
    {0xC00000BB, "STATUS_NOT_SUPPORTED"},
    {0xC00000E5, "STATUS_INTERNAL_ERROR"},
    {0xC0000225, "STATUS_NOT_FOUND"},
};

constexpr NamedValue kSmartCardNames[] = {
    {0x80100001, "SCARD_F_INTERNAL_ERROR"},
    {0x80100002, "SCARD_E_CANCELLED"},
    {0x80100003, "SCARD_E_INVALID_HANDLE"},
    {0x80100004, "SCARD_E_INVALID_PARAMETER"},
    {0x80100006, "SCARD_E_NO_MEMORY"},
    {0x80100007, "SCARD_F_WAITED_TOO_LONG"},
    {0x80100008, "SCARD_E_INSUFFICIENT_BUFFER"},
    {0x80100009, "SCARD_E_UNKNOWN_READER"},
    {0x8010000A, "SCARD_E_TIMEOUT"},
    {0x80100013, "SCARD_F_COMM_ERROR"},
    {0x8010001D, "SCARD_E_NO_SERVICE"},
    {0x8010001E, "SCARD_E_SERVICE_STOPPED"},
    {0x8010002E, "SCARD_E_NO_READERS_AVAILABLE"},
};

struct Kind
{
    std::span<const NamedValue> names;
    const char* description;
    std::uint32_t leastFailure;
};

// In the order of ErrorKind.
constexpr Kind kKinds[] = {
    {kWin32Names, "Win32 error such as ERROR_ACCESS_DENIED", 1},
    {kHResultNames, "HRESULT such as E_FAIL", 0x80000000},
    {kNtStatusNames, "status such as STATUS_ACCESS_DENIED", 0x80000000},
    {kSmartCardNames, "status of smart cards such as SCARD_E_NO_SERVICE", 1},
};

struct CallKinds
{
    std::string_view beginning; // of the call's name
    ErrorKind kind;
};

// All other calls fail with a Win32 error.
constexpr CallKinds kCallKinds[] = {
    {"BCrypt", ErrorKind::NtStatus},         {"CoCreateInstance", ErrorKind::HResult},
    {"CoInitialize", ErrorKind::HResult},    {"CoSetProxyBlanket", ErrorKind::HResult},
    {"IWbem", ErrorKind::HResult},           {"SCard", ErrorKind::SmartCard},
    {"SHGetFolderPath", ErrorKind::HResult},
};

const Kind& Of(ErrorKind kind)
{
    return kKinds[static_cast<std::size_t>(kind)];
}

} // namespace

ErrorKind ErrorKindOf(std::string_view call)
{
    for (const CallKinds& row : kCallKinds)
    {
        if (call.starts_with(row.beginning))
            return row.kind;
    }
    return ErrorKind::Win32;
}

std::optional<std::uint32_t> ErrorNamed(ErrorKind kind, std::string_view name)
{
    for (const NamedValue& one : Of(kind).names)
    {
        if (one.name == name)
            return one.value;
    }
    return std::nullopt;
}

std::span<const NamedValue> NamesOf(ErrorKind kind)
{
    return Of(kind).names;
}

const char* DescribeErrors(std::string_view call)
{
    return Of(ErrorKindOf(call)).description;
}

bool IsFailure(ErrorKind kind, std::uint32_t error)
{
    return error >= Of(kind).leastFailure;
}

} // namespace winsim
