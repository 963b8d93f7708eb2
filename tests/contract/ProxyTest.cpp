#include <gtest/gtest.h>

#include "service/net/Socket.h"
#include "support/ImportTable.h"
#include "support/ProcessState.h"
#include "support/SessionTest.h"

namespace {

using namespace qsn::test;
using qsn::service::Socket;

// A web server for one proxy script. Its address is its own, because Wine remembers what it got from one. The service
// has started Winsock.
class ScriptServer {
public:
    std::string Address() const { return "http://127.0.0.1:" + std::to_string(m_listener.LocalPort()) + "/proxy.pac"; }

    Socket Accept() const {
        Socket client;
        const auto isAsked = [&] {
            return static_cast<bool>(client = Socket(accept(m_listener.Get(), nullptr, nullptr)));
        };
        EXPECT_TRUE(Eventually(isAsked, 20000)) << "nobody wants the script";
        return client;
    }
    static void Answer(const Socket& client, const std::string& script) {
        char request[2048];
        EXPECT_TRUE(Eventually([&] { return recv(client.Get(), request, sizeof(request), 0) > 0; }));
        const std::string reply =
            "HTTP/1.1 200 OK\r\nContent-Type: application/x-ns-proxy-autoconfig\r\nContent-Length: " +
            std::to_string(script.size()) + "\r\nConnection: close\r\n\r\n" + script;
        send(client.Get(), reply.data(), static_cast<int>(reply.size()), 0);
    }

private:
    Socket m_listener = qsn::service::ListenOnLoopback(0);
};

// How often the DLL has loaded the system's HTTP library, which looks for scripts.
std::atomic<int> g_searches{0};
HMODULE WINAPI CountSearches(LPCWSTR name, HANDLE file, DWORD flags) {
    if (std::wstring_view(name) == L"winhttp.dll") ++g_searches;
    return LoadLibraryExW(name, file, flags);
}

// Each request follows the user's settings of that moment.
class Proxy : public SessionTest {
protected:
    struct Settings {
        DWORD enable = 0;
        std::string server = {};
        std::string exceptions = {};
        std::string script = {};
        bool detect = false;
    };

    void SetUp() override {
        SessionTest::SetUp();
        SignIn();
        ASSERT_EQ(UserInfoResult(), QSN_CALLBACK_OK);
    }
    void TearDown() override {
        Write({1, m_service});
        RegDeleteKeyValueA(HKEY_LOCAL_MACHINE, kPolicy, "ProxySettingsPerUser");
        Write({}, HKEY_LOCAL_MACHINE);
    }

    static void Write(const Settings& settings, HKEY root = HKEY_CURRENT_USER) {
        RegSetKeyValueA(root, kKey, "ProxyEnable", REG_DWORD, &settings.enable, sizeof(settings.enable));
        WriteText(root, "ProxyServer", settings.server);
        WriteText(root, "ProxyOverride", settings.exceptions);
        WriteText(root, "AutoConfigURL", settings.script);
        const DWORD connection[] = {0x46, 1, settings.detect ? 9u : 1u, 0, 0, 0};
        const std::string key = std::string(kKey) + "\\Connections";
        RegSetKeyValueA(root, key.c_str(), "DefaultConnectionSettings", REG_BINARY, connection, sizeof(connection));
    }
    // Without a terminator, as some programs write it.
    static void WriteText(HKEY root, const char* name, const std::string& text) {
        RegDeleteKeyValueA(root, kKey, name);
        if (!text.empty()) RegSetKeyValueA(root, kKey, name, REG_SZ, text.c_str(), static_cast<DWORD>(text.size()));
    }

    std::string ToService() const {
        return "function FindProxyForURL(url, host) { return 'PROXY " + m_service + "'; }";
    }
    void ExpectOfARequest(int result) {
        ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
        ExpectOfTheRequest(result);
    }
    void ExpectOfTheRequest(int result) {
        EXPECT_EQ(m_callback.ResultOf(QSN_ACTION_GET_USERINFO_RESULT), result);
        EXPECT_EQ(Server().TakeRequests().size(), result == QSN_CALLBACK_OK ? 1u : 0u);
    }

    static constexpr char kKey[] = "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
    static constexpr char kPolicy[] = "Software\\Policies\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
    const ImportHook m_load{"LoadLibraryExW", &CountSearches};
    const int m_searches = g_searches;
    const std::string m_service = "127.0.0.1:" + std::to_string(Server().Port());
};

TEST_F(Proxy, ChangesAreSeenByTheNextRequest) {
    const std::string gone = "127.0.0.1:1";
    const std::tuple<const char*, Settings, int> rows[] = {
        {"off", {0, m_service}, 1},
        {"named", {1, m_service}, 0},
        {"excepted", {1, m_service, "<local>; *.QUILLFERN.example"}, 1},
        {"others excepted", {1, m_service, "*.corp;10.*;<local>"}, 0},
        {"gone", {1, gone}, 1},
        {"by scheme", {1, "http=" + gone + ";https=" + m_service}, 0},
        {"for http only", {1, "http=" + m_service}, 1},
        {"several", {1, gone + ' ' + m_service}, 0},
        {"rubbish", {1, std::string(30000, '\xFF'), std::string(30000, '*')}, 1},
        {"endless", {1, m_service + std::string(1 << 20, ';')}, 1},
    };
    Server().TakeRequests();
    for (const auto& [name, settings, result] : rows) {
        SCOPED_TRACE(name);
        Write(settings);
        ExpectOfARequest(result);
    }
    Write({1, m_service}, HKEY_LOCAL_MACHINE);
    ExpectOfARequest(1);
    const DWORD no = 0;
    RegSetKeyValueA(HKEY_LOCAL_MACHINE, kPolicy, "ProxySettingsPerUser", REG_DWORD, &no, sizeof(no));
    ExpectOfARequest(0);
    Write({}, HKEY_LOCAL_MACHINE);
    ExpectOfARequest(1);
    EXPECT_EQ(g_searches, m_searches);
}

TEST_F(Proxy, AScriptComesFirstAndWhatIsNamedStandsInForIt) {
    const std::string straight = "function FindProxyForURL(url, host) { return 'DIRECT'; }";
    const std::string gone = "http://127.0.0.1:1/proxy.pac";
    // With the script, if the library asks for one, and the result.
    const std::tuple<const char*, Settings, std::string, int> rows[] = {
        {"to the service", {0, ""}, ToService(), 0},
        {"straight", {1, m_service}, straight, 1},
        {"broken", {1, m_service}, "function (((", 0},
        {"not there", {1, m_service, "", gone}, "", 0},
        {"not there, excepted", {1, m_service, "*.example", gone}, "", 1},
        {"too long", {1, m_service, "", "http://127.0.0.1/" + std::string(5000, 'x')}, "", 0},
        {"nothing detected", {1, m_service, "", "", true}, "", 0},
        {"nothing detected, then to the service", {0, "", "", "", true}, ToService(), 0},
    };
    Server().TakeRequests();
    for (auto [name, settings, script, result] : rows) {
        SCOPED_TRACE(name);
        const ScriptServer server;
        if (!script.empty()) settings.script = server.Address();
        Write(settings);
        const int searches = g_searches;
        ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
        if (!script.empty()) ScriptServer::Answer(server.Accept(), script);
        ExpectOfTheRequest(result);
        ExpectOfARequest(result);  // by now the script is known, or known to fail
        EXPECT_TRUE(!settings.detect || g_searches > searches) << "nothing was asked";
    }
}

TEST_F(Proxy, AScriptThatNeverArrivesHoldsNobodyUp) {
    const int threads = ThreadCount();
    const ScriptServer server;
    Write({1, m_service, "", server.Address()});
    ASSERT_EQ(m_qsn->GetUserInfo(), S_OK);
    const Socket silent = server.Accept();
    const ULONGLONG start = GetTickCount64();
    m_qsn.reset();
    const ULONGLONG took = GetTickCount64() - start;
    EXPECT_GE(took, 980u);
    EXPECT_LT(took, 1500u);
    EXPECT_EQ(m_callback.Pending(), 0u);
    // The DLL has gone by the time the system's search for the script ends.
    const HMODULE module = GetModuleHandleA("qsn.dll");
    FreeLibrary(module);
    EXPECT_EQ(GetModuleHandleA("qsn.dll"), nullptr);
    ScriptServer::Answer(silent, ToService());
    EXPECT_TRUE(Eventually([&] { return ThreadCount() <= threads; })) << threads << " became " << ThreadCount();
    EXPECT_NE(LoadLibraryA(QSN_TEST_DLL), nullptr) << "for the fixture to free";
}

}  // namespace
