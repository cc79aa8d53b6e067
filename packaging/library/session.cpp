// The install session that an action belongs to.
#include "session.h"

#include "owners.h"

namespace
{

constexpr int kTicksOfText = 10000; // of the progress bar; the installer's own actions count bytes

// The kinds of progress messages, in a record's first field.
constexpr int kTicksOfTexts = 1;
constexpr int kMoreTicks = 3;

void TellProgress(MSIHANDLE session, int kind, int second, int third)
{
    const OwnedRecord record(MsiCreateRecord(3));
    MsiRecordSetInteger(record.Get(), 1, kind);
    MsiRecordSetInteger(record.Get(), 2, second);
    MsiRecordSetInteger(record.Get(), 3, third);
    MsiProcessMessage(session, INSTALLMESSAGE_PROGRESS, record.Get());
}

} // namespace

bool HasProperty(MSIHANDLE session, const wchar_t* name)
{
    wchar_t nothing[1] = {};
    DWORD size = 0;
    MsiGetPropertyW(session, name, nothing, &size);
    return size != 0;
}

int Tell(MSIHANDLE session, INSTALLMESSAGE kind, const wchar_t* text)
{
    // A number in the first field would mean one of the installer's own messages.
    const OwnedRecord record(MsiCreateRecord(2));
    MsiRecordSetStringW(record.Get(), 0, L"[2]");
    MsiRecordSetStringW(record.Get(), 2, text);
    return MsiProcessMessage(session, kind, record.Get());
}

UINT Refuse(MSIHANDLE session, const wchar_t* why)
{
    Tell(session, INSTALLMESSAGE_ERROR, why);
    return ERROR_INSTALL_FAILURE;
}

void ExpectTexts(MSIHANDLE session, int count)
{
    TellProgress(session, kMoreTicks, count * kTicksOfText, 0);
}

void CountTexts(MSIHANDLE session)
{
    TellProgress(session, kTicksOfTexts, kTicksOfText, 1);
}
