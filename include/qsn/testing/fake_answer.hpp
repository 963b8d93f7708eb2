/* What a fake library is told to do, and what it was asked for. Part of <qsn/testing.hpp>. */
#pragma once

#include <qsn/client/options.hpp>

namespace qsn {

/* What the account service knows in a test. Dates go by the texts beside them. */
struct FakeAccount {
    UserInfo user{"1001", "Test User", "user@example.test", {}};
    std::vector<Product> products, productsV2;
    Quota quota;
    std::string signInAddress = "https://account.example.test/sign-in";
    /* What the suite's applications share; a client finds the first only with single sign-on. */
    std::string sharedToken, memberToken, refreshToken;
};

/* How one request ends, and after which time. */
struct FakeAnswer {
    QSN_OUTCOME outcome = {sizeof(QSN_OUTCOME), QSN_CALLBACK_OK, S_OK, 0, 200, 0, 0, 0, 0};
    TimeLimit delay{0};  // see FakeLibrary::Pass

    /* With what FakeAccount says at that time. */
    static FakeAnswer Success() { return {}; }
    /* As the service refuses: with 2, 3, 101 or 107 the user is not signed in any more, except by a quota request. */
    static FakeAnswer Failure(QSN_CALLBACK_RESULT result) { return Ended(result, 200, 0); }
    /* The service answers with another status than 200. */
    static FakeAnswer Status(std::uint32_t status) { return Ended(QSN_CALLBACK_NETWORK_OR_UNKNOWN, status, 0); }
    /* There is no whole reply. `systemError`: see QSN_OUTCOME; 12007 cannot find the service, 12002 takes too long. */
    static FakeAnswer NoReply(std::uint32_t systemError = 12007) {
        return Ended(QSN_CALLBACK_NETWORK_OR_UNKNOWN, 0, systemError);
    }
    /* The service never answers. */
    static FakeAnswer Never() { return Success().After(std::chrono::hours(1000000)); }
    /* The same answer, so much later. */
    FakeAnswer After(TimeLimit time) const {
        FakeAnswer later = *this;
        later.delay += time;
        return later;
    }

private:
    static FakeAnswer Ended(QSN_CALLBACK_RESULT result, std::uint32_t status, std::uint32_t systemError) {
        FakeAnswer answer;
        answer.outcome = {sizeof(QSN_OUTCOME), result, E_FAIL, QSN_NO_SERVER_RESULT, status, systemError, 0, 0, 0};
        answer.outcome.canRetry = ErrorOf(answer.outcome) == Condition::kTransient ? 1 : 0;
        return answer;
    }
};

/* One request that the fake has carried out: what QSN_REQUEST says. */
struct FakeCall {
    std::uint32_t kind = 0;  // a QSN_REQUEST_KIND
    std::int32_t item = 0;
    std::string text;
    std::uint32_t value = 0;
    TimeLimit timeLimit{0};
};

}  // namespace qsn
