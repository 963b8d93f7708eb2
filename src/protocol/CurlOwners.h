#pragma once

#include <curl/curl.h>

#include <memory>

#include "Utility/Deleter.h"

namespace qsn {

using UniqueEasy = std::unique_ptr<CURL, Deleter<curl_easy_cleanup>>;
using UniqueMulti = std::unique_ptr<CURLM, Deleter<curl_multi_cleanup>>;
using UniqueCurlList = std::unique_ptr<curl_slist, Deleter<curl_slist_free_all>>;
using UniqueCurlUrl = std::unique_ptr<CURLU, Deleter<curl_url_cleanup>>;
using UniqueCurlText = std::unique_ptr<char, Deleter<curl_free>>;

}  // namespace qsn
