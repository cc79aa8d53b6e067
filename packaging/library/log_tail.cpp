// Reads the lines that a run of the program adds to the install log.
#include "log_tail.h"

#include "owners.h"

#include <windows.h>

#include <cstring>
#include <shlobj.h>

namespace
{

constexpr wchar_t kLogFile[] = L"\\Kelo Systems Corp\\InstallLogs\\Toolkit\\kelo_install_log.txt";

// Whether the log is a plain file: not a link, and with a single name. Otherwise a user could make this library, which
// has more rights, show another file.
bool IsPlainFile(HANDLE file, LONGLONG& size)
{
    BY_HANDLE_FILE_INFORMATION found{};
    if (!GetFileInformationByHandle(file, &found))
        return false;
    size = static_cast<LONGLONG>(found.nFileSizeHigh) << 32 | found.nFileSizeLow;
    return (found.dwFileAttributes & (FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY)) == 0 &&
           found.nNumberOfLinks == 1;
}

// Null if the log cannot be opened.
HANDLE OpenLog(const wchar_t* path)
{
    const HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    return file == INVALID_HANDLE_VALUE ? nullptr : file;
}

} // namespace

LogTail::LogTail()
{
    if (SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, m_path.Buffer()) != S_OK ||
        !m_path.Append(kLogFile))
        m_path.Clear();
    const OwnedHandle file(OpenLog(m_path.Get()));
    if (file && !IsPlainFile(file.Get(), m_offset))
        m_path.Clear();
}

// Reads the next part of the log into the buffer. Returns false at the end of the log.
bool LogTail::Fill()
{
    const OwnedHandle file(OpenLog(m_path.Get()));
    LONGLONG size = 0;
    if (!file || !IsPlainFile(file.Get(), size))
        return false;
    std::memmove(m_buffer, m_buffer + m_begin, m_end - m_begin);
    m_end -= m_begin;
    m_begin = 0;
    if (m_end == kBufferSize)
        m_end = 0; // no line of the log is that long
    LARGE_INTEGER place{};
    place.QuadPart = m_offset;
    DWORD read = 0;
    if (!SetFilePointerEx(file.Get(), place, nullptr, FILE_BEGIN) ||
        !ReadFile(file.Get(), m_buffer + m_end, kBufferSize - m_end, &read, nullptr))
        return false;
    m_end += read;
    m_offset += read;
    return read != 0;
}

// The next line of the thread in the buffer; null if no complete line is left.
const wchar_t* LogTail::NextLine(DWORD threadId)
{
    while (const void* newline = std::memchr(m_buffer + m_begin, '\n', m_end - m_begin))
    {
        const DWORD end = static_cast<DWORD>(static_cast<const char*>(newline) - m_buffer);
        DWORD length = end - m_begin;
        if (length != 0 && m_buffer[end - 1] == '\r')
            --length;
        const int converted =
            MultiByteToWideChar(CP_ACP, 0, m_buffer + m_begin, static_cast<int>(length), m_line.Buffer(), kBufferSize);
        m_line.Buffer()[converted] = L'\0';
        m_begin = end + 1;
        if (IsLineOf(threadId))
            return m_line.Get();
    }
    return nullptr;
}

// A line is: time, zone, the thread's number in brackets, message.
bool LogTail::IsLineOf(DWORD threadId) const
{
    const wchar_t* bracket = std::wcschr(m_line.Get(), L'[');
    return bracket != nullptr && std::wcstoul(bracket + 1, nullptr, 10) == threadId;
}
