#include <gtest/gtest.h>

#include "protocol/ProxyRules.h"

namespace qsn::test {
namespace {

std::string Joined(const std::vector<std::string>& proxies) {
    std::string text;
    for (const std::string& proxy : proxies) text.append(text.empty() ? "" : " ").append(proxy);
    return text;
}

TEST(ProxyRules, FindTheProxiesForHttpsInAList) {
    const std::pair<std::string, std::string> rows[] = {
        {"proxy", "http://proxy:80"},
        {"  Proxy.Corp:8080;;[::1]:8081\t10.0.0.1:1 ", "http://proxy.corp:8080 http://[::1]:8081 http://10.0.0.1:1"},
        {"https=a:1;http=b:2;socks=c:3", "http://a:1"},
        {"http=b:2;d:4;socks=c:3;e:5", "http://d:4 http://e:5"},
        {"http=b:2;socks=c;ftp=d:4", "socks4a://c:1080"},
        {"http=b:2", ""},
        {"HTTPS=http://a:1/;https=socks5://b;https=https://c", "http://a:1 socks5h://b:1080 http://c:443"},
        {"a:0;a:65536;a:80x;a:-1;a:+1;a:99999999999999999999;user@a:1;a "
         "b\x01:1;\xC3\xA4:1;ftp://a;=a;x=;[::1;[]:1;a=b=c",
         "http://a:80"},
        {"https=;://;:;=;[:", ""},
        {std::string("a\0b:1", 5), ""},
        {std::string(100000, 'a') + ";b:1;" + std::string(100000, ';'),
         "http://" + std::string(100000, 'a') + ":80 http://b:1"},
    };
    for (const auto& [list, proxies] : rows) EXPECT_EQ(Joined(ProxiesIn(list)), proxies) << list;
}

TEST(ProxyRules, KnowTheHostsThatNoProxyIsFor) {
    struct Row {
        std::string exceptions;
        const char* host;
        bool isExcepted;
    };
    const Row rows[] = {
        {"", "a.corp", false},
        {"*.corp;10.*;<local>", "A.Corp", true},
        {"*.corp;10.*;<local>", "corp", true},
        {"*.corp;10.*", "corp", false},
        {"*.corp;10.*;<local>", "10.1.2.3", true},
        {"*.corp;10.*;<local>", "a.corp.example", false},
        {"x.corp\r\n a.CORP;;", "a.corp", true},
        {"corp", "a.corp", false},
        {"*", "a.corp", true},
        {"a*c*p", "a.b.corp", true},
        {"*.a.corp", "x.a.a.corp", true},
        {"*.corp*x", "a.corp", false},
        {"https://*.corp:443/", "a.corp", false},
        {"https://*.corp:443", "a.corp", true},
        {"http://*.corp", "a.corp", false},
        {"a.corp:80", "a.corp", false},
        {"[::1]:443;fe80::*", "fe80::1", true},
        {"[::1]:443;fe80::*", "[::1]", true},
        {";<;>;://;:;*:", "a.corp", true},
        {std::string(1000, '*') + "x", "a.corp", false},
    };
    for (const auto& [exceptions, host, isExcepted] : rows)
        EXPECT_EQ(IsExcepted(exceptions, host), isExcepted) << host << " in " << exceptions;
}

}  // namespace
}  // namespace qsn::test
