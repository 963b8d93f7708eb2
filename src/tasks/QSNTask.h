#pragma once

#include <cstdint>
#include <string>

#include "Utility/SecretText.h"
#include "engine/QSNThreadContext.h"
#include "thread/BaseTask.h"
#include "thread/MainThread.h"

namespace qsn {

using QSNWorkerThread = BaseThread::MainThread<QSNThreadContext>;

// The requests of a host, one class each: they carry arguments to the worker thread and, where the host waits, a text
// back. Arguments are copied, so that the caller's buffers may go at once. `Run` returns E_POINTER for a null context.
class QSNTaskBase : public BaseThread::BaseTask<QSNThreadContext> {
public:
    using BaseTask::BaseTask;

    HRESULT Run(QSNThreadContext* context) final { return context ? RunIn(*context) : E_POINTER; }
    // The task's result text. E_POINTER: null output. Tasks without one leave the output alone and return 0.
    virtual HRESULT GetResultString(std::string* text);

protected:
    virtual HRESULT RunIn(QSNThreadContext& context) = 0;
};

// A task that brings a text back.
class QSNTextTask : public QSNTaskBase {
public:
    using QSNTaskBase::QSNTaskBase;
    HRESULT GetResultString(std::string* text) override;

protected:
    SecretText m_strResult;  // it may be a token
};

class SignInTask final : public QSNTaskBase {
public:
    SignInTask(std::string_view token, std::uint32_t bySingleSignOn);

private:
    HRESULT RunIn(QSNThreadContext& context) override;

    SecretText m_strToken;
    std::uint32_t m_nBySingleSignOn;
};

class SignOutTask final : public QSNTaskBase {
public:
    SignOutTask(std::uint32_t bySingleSignOn, std::string memberToken, SecretText refreshToken);

private:
    HRESULT RunIn(QSNThreadContext& context) override;

    std::uint32_t m_nBySingleSignOn;
    std::string m_strMemberToken;
    SecretText m_strRefreshToken;
};

// Tells the host what another application did, in order with everything else that it is told. `text` goes along with
// the ids that bring one and is not looked at for any other.
class NotifyMessageTask final : public QSNTaskBase {
public:
    NotifyMessageTask(int id, const char* text);

private:
    HRESULT RunIn(QSNThreadContext& context) override;

    int m_nId;
    SecretText m_strText;
};

class GetAccTokenTask final : public QSNTextTask {
public:
    GetAccTokenTask();

private:
    HRESULT RunIn(QSNThreadContext& context) override;
};

class GetSignInURLTask final : public QSNTextTask {
public:
    GetSignInURLTask();

private:
    HRESULT RunIn(QSNThreadContext& context) override;
};

class GetUserInfoTask final : public QSNTaskBase {
public:
    GetUserInfoTask();

private:
    HRESULT RunIn(QSNThreadContext& context) override;
};

// `version`: 0 for the first generation's list, anything else for the second's.
class GetProductListTask final : public QSNTaskBase {
public:
    explicit GetProductListTask(std::uint32_t version);

private:
    HRESULT RunIn(QSNThreadContext& context) override;

    std::uint32_t m_nVersion;
};

class GIQueryTask final : public QSNTaskBase {
public:
    GIQueryTask();

private:
    HRESULT RunIn(QSNThreadContext& context) override;
};

class CheckTokenValidTask final : public QSNTaskBase {
public:
    explicit CheckTokenValidTask(std::uint32_t singleSignOn);

private:
    HRESULT RunIn(QSNThreadContext& context) override;

    std::uint32_t m_nSingleSignOn;
};

class GILogTask final : public QSNTaskBase {
public:
    GILogTask();

private:
    HRESULT RunIn(QSNThreadContext& context) override;
};

}  // namespace qsn
