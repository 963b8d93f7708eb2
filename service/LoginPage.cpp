#include "LoginPage.h"

#include "Text.h"

namespace qsn::service {

std::string LoginPage(std::string_view productSid) {
    return R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Sign in</title>
</head>
<body>
<main>
<h1>Sign in</h1>
<p>Development account service. Product: <strong>)" +
           EscapeHtml(productSid.empty() ? "not named" : productSid) + R"(</strong></p>
<p>Hand your host one of the access tokens of the accounts file.</p>
</main>
</body>
</html>
)";
}

}  // namespace qsn::service
