#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>

#include "support/Owned.h"

namespace qsn::soak {

// Another program of the user that does what it likes with the shared tokens: it signs in and out, deletes the key,
// writes rubbish and takes the rights away, all without the library.
class Neighbour {
public:
    explicit Neighbour(unsigned seed) : m_random(seed), m_counts() {}
    Neighbour(const Neighbour&) = delete;
    Neighbour& operator=(const Neighbour&) = delete;
    ~Neighbour() { AllowAccess(); }

    // One of these, at random; ends what the one before keeps from others.
    void Act();
    // Does its worst once more, and then leaves the user signed in, or out, for good. Takes seconds, because
    // applications need not notice what lasts for less than one.
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

// What the driver and its hosts say to each other at the end: "I only look from now on", and "this is what I have left
// behind". In this many rounds.
class LastWords {
public:
    static constexpr int kRounds = 2;

    LastWords();

    // A host's side. False when the word does not come within `milliseconds`.
    void Announce();
    bool WaitFor(int round, DWORD milliseconds);
    // Whether a session that holds `accessToken` is what the store says.
    static bool IsShared(const std::string& accessToken);

    // The driver's side: how many hosts have come to wait since the last call.
    int NewListeners();
    void Speak(int round);

private:
    using Handle = test::Owned<HANDLE, CloseHandle>;
    Handle m_listeners;
    std::array<Handle, kRounds> m_spoken;
};

}  // namespace qsn::soak
