#include "Neighbour.h"

#include <sddl.h>

#include <iterator>
#include <memory>
#include <utility>

#include "support/SharedValues.h"

namespace qsn::soak {
namespace {

using test::SharedValues;

constexpr char kKey[] = "Software\\Quillfern\\QSN";
constexpr char kToken[] = "token-soak";
constexpr char kRefreshToken[] = "refresh-soak";
constexpr const char* kNames[] = {"SSO", "mTok", "rTok", "pubK", "pubID"};
constexpr DWORD kTypes[] = {REG_SZ, REG_SZ, REG_SZ, REG_DWORD, REG_BINARY, REG_MULTI_SZ, REG_NONE};
// More than two looks of a watcher.
constexpr DWORD kUntilNoticed = 2500;  // ms

struct LocalMemory {
    void operator()(void* memory) const { LocalFree(memory); }
};

}  // namespace

struct Neighbour::Deed {
    const char* name;
    unsigned weight;
    void (Neighbour::*act)();
};

const std::array<Neighbour::Deed, 5> Neighbour::kDeeds{{{"sign-ins", 3, &Neighbour::SignIn},
                                                        {"sign-outs", 1, &Neighbour::SignOut},
                                                        {"keys deleted", 1, &Neighbour::DeleteKey},
                                                        {"values spoilt", 4, &Neighbour::WriteRubbish},
                                                        {"refusals of access", 3, &Neighbour::DenyAccess}}};

void Neighbour::Act() {
    AllowAccess();
    unsigned draw = m_random() % 12;
    std::size_t index = 0;
    while (draw >= kDeeds[index].weight) draw -= kDeeds[index++].weight;
    ++m_counts[index];
    (this->*kDeeds[index].act)();
}

void Neighbour::LeaveSignedIn(bool signedIn) {
    for (int i = 0; i < 10; ++i) {
        Act();
        Sleep(m_random() % 500);
    }
    AllowAccess();
    signedIn ? SignOut() : SignIn();
    Sleep(kUntilNoticed);
    signedIn ? SignIn() : SignOut();
}

std::string Neighbour::Text() const {
    std::string text;
    for (std::size_t i = 0; i < kDeeds.size(); ++i) {
        text += (text.empty() ? "" : ", ") + std::to_string(m_counts[i]) + " " + kDeeds[i].name;
    }
    return text;
}

void Neighbour::SignIn() {
    SharedValues::WriteProtected("rTok", kRefreshToken);
    SharedValues::WriteToken("SSO", kToken);
}

void Neighbour::SignOut() {
    for (const char* name : {"SSO", "mTok", "rTok"}) SharedValues::Delete(name);
}

void Neighbour::DeleteKey() { RegDeleteKeyA(HKEY_CURRENT_USER, kKey); }

void Neighbour::WriteRubbish() {
    std::string rubbish(m_random() % 3000, '\0');
    for (char& c : rubbish) c = static_cast<char>(m_random());
    // Half of it is Base64, so that something can be decoded.
    if (m_random() % 2 == 0) rubbish = SharedValues::Base64Lines(rubbish);
    SharedValues::Write(kNames[m_random() % std::size(kNames)], rubbish, kTypes[m_random() % std::size(kTypes)]);
}

void Neighbour::DenyAccess() {
    SetAccess(m_random() % 2 == 0 ? "D:P(D;;GA;;;WD)" : "D:P(A;;KR;;;WD)");  // nothing, or reading only
    m_denied = true;
}

void Neighbour::AllowAccess() {
    if (std::exchange(m_denied, false)) SetAccess("D:P(A;;KA;;;WD)");
}

void Neighbour::SetAccess(const char* rights) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    HKEY key = nullptr;
    ConvertStringSecurityDescriptorToSecurityDescriptorA(rights, SDDL_REVISION_1, &descriptor, nullptr);
    const std::unique_ptr<void, LocalMemory> owner(descriptor);
    if (RegOpenKeyExA(HKEY_CURRENT_USER, kKey, 0, WRITE_DAC, &key) != ERROR_SUCCESS) return;
    RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor);
    RegCloseKey(key);
}

LastWords::LastWords()
    : m_listeners(CreateSemaphoreW(nullptr, 0, 1000, L"Local\\qsn-soak-listeners")),
      m_spoken{Handle(CreateEventW(nullptr, TRUE, FALSE, L"Local\\qsn-soak-word-0")),
               Handle(CreateEventW(nullptr, TRUE, FALSE, L"Local\\qsn-soak-word-1"))} {}

void LastWords::Announce() { ReleaseSemaphore(m_listeners.Get(), 1, nullptr); }

bool LastWords::WaitFor(int round, DWORD milliseconds) {
    return WaitForSingleObject(m_spoken[round].Get(), milliseconds) == WAIT_OBJECT_0;
}

bool LastWords::IsShared(const std::string& accessToken) {
    const auto shared = SharedValues::Read("SSO");
    return shared ? shared->data == SharedValues::Base64Lines(accessToken) : accessToken.empty();
}

int LastWords::NewListeners() {
    int count = 0;
    while (WaitForSingleObject(m_listeners.Get(), 0) == WAIT_OBJECT_0) ++count;
    return count;
}

void LastWords::Speak(int round) { SetEvent(m_spoken[round].Get()); }

}  // namespace qsn::soak
