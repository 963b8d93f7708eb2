#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>

#include "support/Owned.h"

namespace qsn::soak {

// Another program of the user that does what it likes with the shared tokens. It signs in and out, deletes the key,
// writes rubbish and removes access rights, all without the library.
class Neighbour {
public:
    explicit Neighbour(unsigned seed) : m_random(seed), m_counts() {}
    Neighbour(const Neighbour&) = delete;
    Neighbour& operator=(const Neighbour&) = delete;
    ~Neighbour() { AllowAccess(); }

    // One of these, at random. Gives back what the last one kept from others.
    void Act();
    // Does its worst once more, and then leaves the user signed in or out for good. It takes seconds, because
    // applications need not notice what lasts less than one.
    void LeaveSignedIn(bool signedIn);
    // How often it has done what.
    std::string Text() const;

private:
    struct Deed;
    static const std::array<Deed, 5> kDeeds;

    void SignIn();
    void SignOut();
    void DeleteKey();
    void WriteRubbish();
    void DenyAccess();
    void AllowAccess();
    void SetAccess(const char* rights);

    std::mt19937 m_random;
    std::array<std::uint64_t, 5> m_counts;
    bool m_denied = false;
};

// What the driver and its hosts tell each other at the end, in this many rounds: "I only look from now on", and "this
// is what I have left behind".
class LastWords {
public:
    static constexpr int kRounds = 2;

    LastWords();

    // A host's side. False if the word does not come within `milliseconds`.
    void Announce();
    bool WaitFor(int round, DWORD milliseconds);
    // Whether a session that holds `accessToken` agrees with the store.
    static bool IsShared(const std::string& accessToken);

    // The driver's side: how many hosts have begun to wait since the last call.
    int NewListeners();
    void Speak(int round);

private:
    using Handle = test::Owned<HANDLE, CloseHandle>;
    Handle m_listeners;
    std::array<Handle, kRounds> m_spoken;
};

}  // namespace qsn::soak
