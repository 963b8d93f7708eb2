#include <winsock2.h>
#include <windows.h>

#include <commctrl.h>
#include <gtest/gtest.h>
#include <wininet.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "panel/PanelProcess.h"
#include "service/AccountServer.h"
#include "service/AccountsFile.h"
#include "service/UserConfiguration.h"
#include "support/SharedValues.h"

namespace qsn::test {
namespace {

using namespace std::chrono_literals;

class AccountPanel : public testing::Test {
protected:
    static void SetUpTestSuite() {
        service::ServerOptions options;
        options.keyFolder = QSN_TEST_KEY_DIR;
        options.accounts = service::LoadAccounts(QSN_TEST_ACCOUNTS);
        s_server = std::make_unique<service::AccountServer>(std::move(options));
        s_configuration = std::make_unique<service::UserConfiguration>(s_server->Port(), s_server->Authority().Der());
    }
    static void TearDownTestSuite() {
        s_configuration.reset();
        s_server.reset();
    }
    AccountPanel() { s_server->Rules().Clear(); }

    static service::Script& Rules() { return s_server->Rules(); }

    // Until the window has all of Ada's data.
    static void ExpectAda(const PanelProcess& panel) {
        EXPECT_TRUE(panel.Shows(IDC_STATUS, L"Up to date."));
        EXPECT_EQ(panel.Text(IDC_NAME), L"Ada Quill");
        EXPECT_EQ(panel.Text(IDC_DETAIL), L"ada.quill@quillfern.example");
        EXPECT_EQ(panel.Text(IDC_QUOTA).substr(0, 18), L"25 downloads left ");
        EXPECT_EQ(panel.Products(), 2);
    }
    static void ExpectNobody(const PanelProcess& panel) {
        EXPECT_TRUE(panel.Shows(IDC_NAME, L"Not signed in"));
        EXPECT_TRUE(Eventually([&] { return panel.Products() == 0 && panel.IsEnabled(IDC_SIGN_IN); }));
        for (int id : {IDC_MENU, IDC_REFRESH, IDC_SIGN_OUT}) EXPECT_FALSE(panel.IsEnabled(id)) << id;
    }

    static void RefreshUnder(const service::ReplyChange& change, const PanelProcess& panel) {
        s_server->TakeRequests();
        Rules().Once(change);
        panel.Press(IDC_REFRESH);
        ASSERT_TRUE(s_server->WaitForRequests(1, 20s));
    }

    static inline std::unique_ptr<service::AccountServer> s_server;
    static inline std::unique_ptr<service::UserConfiguration> s_configuration;
    SharedValues m_shared;
};

// The last page that a browser shows for the address; follows redirections as one.
std::string Browse(const std::wstring& address) {
    const Owned<HINTERNET, InternetCloseHandle> session(
        InternetOpenW(L"browser", INTERNET_OPEN_TYPE_DIRECT, nullptr, nullptr, 0));
    const Owned<HINTERNET, InternetCloseHandle> page(
        InternetOpenUrlW(session.Get(), address.c_str(), nullptr, 0, 0, 0));
    char text[2048] = "";
    DWORD size = 0;
    InternetReadFile(page.Get(), text, sizeof(text) - 1, &size);
    return text;
}

std::wstring Parameter(const std::wstring& address, const std::wstring& name) {
    const std::size_t start = address.find(L'&' + name + L'=');
    if (start == std::wstring::npos) return {};
    return address.substr(start + name.size() + 2, address.find(L'&', start + 1) - start - name.size() - 2);
}

// Whoever runs this with a display takes the picture: what to take is left in a file that goes when it is done.
void KeepPicture(HWND window) {
    wchar_t request[MAX_PATH];
    if (GetEnvironmentVariableW(L"PANEL_PICTURE", request, MAX_PATH) == 0) return;
    RECT place;
    SetWindowPos(window, HWND_TOP, 16, 16, 0, 0, SWP_NOSIZE);
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
    GetWindowRect(window, &place);
    const std::wstring unfinished = request + std::wstring(L".new");
    std::ofstream(std::filesystem::path(unfinished))
        << place.right - place.left << 'x' << place.bottom - place.top << '+' << place.left << '+' << place.top;
    MoveFileW(unfinished.c_str(), request);
    EXPECT_TRUE(Eventually([&] { return GetFileAttributesW(request) == INVALID_FILE_ATTRIBUTES; }, 20000));
}

TEST_F(AccountPanel, ShowsTheAccountOfWhoSignsInInTheBrowser) {
    const PanelProcess panel(L"--no-browser");
    ASSERT_TRUE(panel.Window());
    ExpectNobody(panel);

    panel.Press(IDC_SIGN_IN);
    ASSERT_TRUE(panel.Shows(IDC_STATUS, L"&state="));
    const std::wstring address = panel.Text(IDC_STATUS);
    EXPECT_NE(address.find(L"?SID=QSN-DEMO&"), std::wstring::npos);
    const std::wstring redirection =
        L"http://127.0.0.1:" + Parameter(address, L"redirect_port") + L"/signed-in?token=demo-token-ada&state=";
    EXPECT_NE(Browse(redirection + L"guessed").find("expired"), std::string::npos);
    EXPECT_NE(Browse(redirection + Parameter(address, L"state")).find("You are signed in."), std::string::npos);
    ExpectAda(panel);

    Rules().Once({.additionalMessage = "Fern Studio 12.4 is here: \xE2\x80\x9CMeadow\xE2\x80\x9D"});
    panel.Type(VK_F5);
    ASSERT_TRUE(Eventually([&] { return panel.News() == 1; }));
    EXPECT_NE(panel.LatestNews().find(L"Fern Studio 12.4 is here: \u201CMeadow\u201D"), std::wstring::npos);
    ExpectAda(panel);
    KeepPicture(panel.Window());

    panel.Press(IDM_ACCOUNT_FIRST + 1);
    EXPECT_TRUE(panel.Shows(IDC_STATUS, L"https://account.quillfern.example/my/products"));
    panel.Press(IDC_SIGN_OUT);
    ExpectNobody(panel);
    EXPECT_EQ(panel.Close(10000), 0u);
}

TEST_F(AccountPanel, IsWalkedByKeysAndLeftAgain) {
    const PanelProcess panel(L"--no-browser --token demo-token-ada");
    ASSERT_TRUE(panel.Window());
    ExpectAda(panel);
    // In the order of the window; where it starts depends on whether the display gives the window the keyboard at once.
    constexpr std::array kOrder = {IDC_MENU, IDC_SIGN_OUT, IDC_PRODUCTS, IDC_REFRESH, IDC_NEWS, IDC_STATUS};
    if (panel.Focus() == 0) panel.Type(VK_TAB);
    ASSERT_TRUE(Eventually([&] { return panel.Focus() != 0; }));
    auto place = static_cast<std::size_t>(std::ranges::find(kOrder, panel.Focus()) - kOrder.begin());
    for (std::size_t step = 0; step < kOrder.size(); ++step) {
        const int next = kOrder[++place % kOrder.size()];
        panel.Type(VK_TAB);
        ASSERT_TRUE(Eventually([&] { return panel.Focus() == next; })) << panel.Focus() << " instead of " << next;
    }
    panel.Press(IDC_SIGN_OUT);
    ExpectNobody(panel);
    panel.Press(IDC_SIGN_IN);
    EXPECT_TRUE(panel.Shows(IDC_STATUS, L"&state=")) << "the login page was not known before";
    panel.Press(IDC_SIGN_IN);
    EXPECT_TRUE(panel.Shows(IDC_STATUS, L"cancelled"));
}

TEST_F(AccountPanel, KeepsItsControlsApartAtAnySize) {
    const PanelProcess panel(L"");
    ASSERT_TRUE(panel.Window());
    for (const SIZE size : {SIZE{100, 100}, SIZE{900, 500}, SIZE{720, 760}, SIZE{1000, 700}, SIZE{100, 100}}) {
        SetWindowPos(panel.Window(), nullptr, 0, 0, size.cx, size.cy, SWP_NOZORDER);
        RECT inside;
        GetClientRect(panel.Window(), &inside);
        std::vector<RECT> places;
        for (int id = IDC_NAME; id <= IDC_STATUS; ++id) {
            RECT place, common;
            GetWindowRect(GetDlgItem(panel.Window(), id), &place);
            MapWindowPoints(HWND_DESKTOP, panel.Window(), reinterpret_cast<POINT*>(&place), 2);
            UnionRect(&common, &inside, &place);
            EXPECT_TRUE(EqualRect(&common, &inside)) << id << " sticks out at " << size.cx << 'x' << size.cy;
            for (const RECT& other : places) {
                EXPECT_FALSE(IntersectRect(&common, &place, &other)) << id << " at " << size.cx << 'x' << size.cy;
            }
            places.push_back(place);
        }
    }
}

TEST_F(AccountPanel, AnswersWhileTheServiceIsSlow) {
    const PanelProcess panel(L"--token demo-token-ada");
    ASSERT_TRUE(panel.Window());
    ExpectAda(panel);
    RefreshUnder({.delay = 3s}, panel);
    int answers = 0;
    const ULONGLONG start = GetTickCount64();
    // For less than the service keeps the reply to itself.
    for (; GetTickCount64() - start < 2000 && panel.Answers(1000); Sleep(20)) ++answers;
    EXPECT_GE(GetTickCount64() - start, 2000u) << "a message was left without an answer";
    EXPECT_GE(answers, 20);
    EXPECT_EQ(s_server->TakeRequests().size(), 1u) << "the reply was not held up for as long as this looked";
    EXPECT_FALSE(panel.IsEnabled(IDC_REFRESH));
    ExpectAda(panel);
}

TEST_F(AccountPanel, FollowsOtherApplications) {
    const PanelProcess panel(L"");
    ASSERT_TRUE(panel.Window());
    ExpectNobody(panel);
    // The library's first look at the shared values only takes note of them, so this may take a second attempt.
    ASSERT_TRUE(Eventually(
        [&] {
            SharedValues::Delete("SSO");
            Sleep(1200);
            SharedValues::WriteToken("SSO", "demo-token-ada");
            return panel.Shows(IDC_NAME, L"Ada Quill", 3000);
        },
        20000));
    ExpectAda(panel);
    EXPECT_NE(panel.LatestNews().find(L"Signed in, because another application did."), std::wstring::npos);
    SharedValues::Delete("SSO");
    ExpectNobody(panel);
    EXPECT_NE(panel.LatestNews().find(L"Signed out, because another application did."), std::wstring::npos);
}

TEST_F(AccountPanel, EndsWhileARequestRuns) {
    const PanelProcess panel(L"--token demo-token-ada");
    ASSERT_TRUE(panel.Window());
    ExpectAda(panel);
    RefreshUnder({.neverReply = true}, panel);
    EXPECT_EQ(panel.Close(8000), 0u);
}

}  // namespace
}  // namespace qsn::test
