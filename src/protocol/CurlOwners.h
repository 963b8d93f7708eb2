#pragma once

#include <curl/curl.h>

#include <memory>

namespace qsn {

struct CurlDeleter {
    void operator()(CURL* easy) const noexcept { curl_easy_cleanup(easy); }
};
using UniqueEasy = std::unique_ptr<CURL, CurlDeleter>;

struct CurlMultiDeleter {
    void operator()(CURLM* multi) const noexcept { curl_multi_cleanup(multi); }
};
using UniqueMulti = std::unique_ptr<CURLM, CurlMultiDeleter>;

struct CurlListDeleter {
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};
using UniqueCurlList = std::unique_ptr<curl_slist, CurlListDeleter>;

struct CurlUrlDeleter {
    void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
};
using UniqueCurlUrl = std::unique_ptr<CURLU, CurlUrlDeleter>;

struct CurlTextDeleter {
    void operator()(char* text) const noexcept { curl_free(text); }
};
using UniqueCurlText = std::unique_ptr<char, CurlTextDeleter>;

}  // namespace qsn
