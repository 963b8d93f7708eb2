#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

#include "Utility/SecretText.h"
#include "engine/QSNThreadContext.h"
#include "thread/BaseTask.h"
#include "thread/MainThread.h"

namespace qsn {

using QSNWorkerThread = BaseThread::MainThread<QSNThreadContext>;

// The requests of a host, one class each: they carry arguments to the worker thread and, if the host waits, a text
// back. Arguments are copied, so that the caller's buffers may go at once. `Run` returns E_POINTER for a null context.
class QSNTaskBase : public BaseThread::BaseTask<QSNThreadContext> {
public:
    using BaseTask::BaseTask;

    HRESULT Run(QSNThreadContext* context) final { return context ? RunIn(*context) : E_POINTER; }

protected:
    virtual HRESULT RunIn(QSNThreadContext& context) = 0;
};

// A name as an argument of a template.
template <std::size_t size>
struct TaskName {
    consteval TaskName(const char (&literal)[size]) {  // NOLINT(google-explicit-constructor): stands for a literal
        std::copy_n(literal, size, text);
    }
    char text[size];
};

// A task that only passes on to the session.
template <TaskName name, HRESULT (QSNThreadContext::*procedure)()>
class CommandTask final : public QSNTaskBase {
public:
    CommandTask() : QSNTaskBase(name.text) {}

private:
    HRESULT RunIn(QSNThreadContext& context) override { return (context.*procedure)(); }
};
using GetUserInfoTask = CommandTask<"GetUserInfoTask", &QSNThreadContext::GetUserInfoCmdProc>;
using GIQueryTask = CommandTask<"GIQueryTask", &QSNThreadContext::GIQueryProc>;
using GILogTask = CommandTask<"GILogTask", &QSNThreadContext::GILogProc>;

enum class ListVersion { kFirst, kSecond };

// Both versions of the list go by one name.
template <ListVersion version>
using GetProductListTask =
    CommandTask<"GetProductListTask", version == ListVersion::kFirst ? &QSNThreadContext::GetProductListCmdProc
                                                                     : &QSNThreadContext::GetProductListV2CmdProc>;

// A task that brings a text back, which may be a token.
template <TaskName name, Outcome<SecretText> (QSNThreadContext::*reader)() const>
class TextTask final : public QSNTaskBase {
public:
    TextTask() : QSNTaskBase(name.text) {}

    // Empty until the task has run.
    const SecretText& Text() const noexcept { return m_strResult; }

private:
    HRESULT RunIn(QSNThreadContext& context) override {
        Outcome<SecretText> text = (context.*reader)();
        m_strResult = std::move(text.value);
        return text.result;
    }

    SecretText m_strResult;
};
using GetAccTokenTask = TextTask<"GetAccTokenTask", &QSNThreadContext::GetAccessToken>;
using GetSignInURLTask = TextTask<"GetSignInURLTask", &QSNThreadContext::GetSignInURL>;

class SignInTask final : public QSNTaskBase {
public:
    SignInTask(std::string_view token, Origin origin);

private:
    HRESULT RunIn(QSNThreadContext& context) override;

    SecretText m_strToken;
    Origin m_origin;
};

class SignOutTask final : public QSNTaskBase {
public:
    SignOutTask(Origin origin, std::string memberToken, SecretText refreshToken);

private:
    HRESULT RunIn(QSNThreadContext& context) override;

    Origin m_origin;
    std::string m_strMemberToken;
    SecretText m_strRefreshToken;
};

// One of `IQSNRequests`.
class RequestTask final : public QSNTaskBase {
public:
    RequestTask(UniqueCom<Request> request, QSNThreadContext::Work work);

    void Drop() override;

private:
    HRESULT RunIn(QSNThreadContext& context) override { return context.RunRequest(*m_request, m_work); }

    UniqueCom<Request> m_request;
    QSNThreadContext::Work m_work;
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

class CheckTokenValidTask final : public QSNTaskBase {
public:
    explicit CheckTokenValidTask(bool singleSignOn);

private:
    HRESULT RunIn(QSNThreadContext& context) override;

    bool m_singleSignOn;
};

}  // namespace qsn
