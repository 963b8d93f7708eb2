// A usage log that keeps what it is told, for tests to read through the Fake… exports.
#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

class RecordLock {
public:
    RecordLock() { AcquireSRWLockExclusive(&s_lock); }
    RecordLock(const RecordLock&) = delete;
    RecordLock& operator=(const RecordLock&) = delete;
    ~RecordLock() { ReleaseSRWLockExclusive(&s_lock); }

private:
    static inline SRWLOCK s_lock = SRWLOCK_INIT;
};

std::wstring g_record;

std::int32_t Record(const std::wstring& line) {
    const RecordLock lock;
    g_record += line + L'\n';
    return 0;
}

}  // namespace

#define FAKE_EXPORT(Type) extern "C" __declspec(dllexport) Type WINAPI

FAKE_EXPORT(std::int32_t) Orb_Init(const wchar_t* applicationId, const wchar_t* parameters) {
    return Record(std::wstring(L"Init ") + applicationId + L' ' + parameters);
}

FAKE_EXPORT(std::int32_t) Orb_Log(const wchar_t* productTag, const wchar_t* message) {
    return Record(std::wstring(L"Log ") + productTag + L' ' + message);
}

FAKE_EXPORT(std::int32_t) Orb_Uninit(std::uint32_t reason) { return Record(L"Uninit " + std::to_wstring(reason)); }

// Copies as much of the record as fits, with a terminator. Returns the whole length.
FAKE_EXPORT(std::size_t) FakeRecord(wchar_t* buffer, std::size_t size) {
    const RecordLock lock;
    if (size != 0) buffer[g_record.copy(buffer, size - 1)] = L'\0';
    return g_record.size();
}

FAKE_EXPORT(void) FakeReset() {
    const RecordLock lock;
    std::wstring().swap(g_record);
}
