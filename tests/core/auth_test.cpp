// SPDX-License-Identifier: MIT
#include "auth/authorise_address.h"
#include "auth/identity.h"
#include "auth/pkce.h"
#include "auth/token_reply.h"
#include "test_files.h"

#include <gtest/gtest.h>
#include <vector>

namespace {
using Texts = std::vector<std::pair<const char*, const char*>>;

const std::string origin(identity_origin);
const std::string address = origin + "/common/oauth2/v2.0/authorize?client_id=a%3Ab&redirect_uri=r%3A";

TEST(UrlParameter, FindsWholeSegmentsUndecoded) {
    for (const auto& [url, value] : Texts{{"x?code=&code=abc", "abc"},
                                          {"x?code=", ""},
                                          {"x?code_challenge=1&code=2", "2"},
                                          {"x?state=1&code=ab%2Fc#f", "ab%2Fc#f"},
                                          {"code=1", ""},
                                          {"x?a=b?code=1&code=2&code=3", "2"}})
        EXPECT_EQ(extract_url_param(url, "code"), value) << url;
}

TEST(ClientOutput, AddressEndsAtWhiteSpaceOrTheNextSentence) {
    std::size_t searched = 0;
    const std::string other = origin + "/common/oauth2/v2.0/logout?x=authorize";
    for (const auto& [output, found] : std::vector<std::pair<std::string, std::optional<std::string>>>{
             {"visit:\n\n" + address + "\n\nEnter", address},
             {"visit " + address + "After completing the sign-in", address},
             {address, address},
             {other + " then " + address + " end", address},
             {other + " authorize? " + origin, std::nullopt}}) {
        searched = 0;
        EXPECT_EQ(find_authorise_address(output, searched), found) << output;
    }
    searched = 0;
    const auto real = find_authorise_address(recorded("a-quota-signin.txt"), searched);
    EXPECT_EQ(extract_url_param(real.value_or(""), "client_id"), "d50ca740-c83f-4d1b-b616-12c519384f0c");
    EXPECT_TRUE(asks_for_reauth_at_login(recorded("f-token-AADSTS700082.txt")));
    EXPECT_FALSE(asks_for_reauth_at_login("AADSTS65004: --reauth"));
}

// Searching on from where the last search stopped finds what searching from the start would.
TEST(AuthoriseAddress, IsFoundWhereverTheOutputWasCut) {
    const auto text = "see " + origin + "/logout now\n" + origin + "\n" + address + "\n";
    const auto ready = text.size() - address.size() - 1 + address.find("authorize?") + 10;
    for (std::size_t cut = 0; cut < text.size(); ++cut) {
        std::size_t searched = 0;
        const auto first = find_authorise_address(text.substr(0, cut), searched);
        EXPECT_EQ(first.has_value(), cut >= ready) << cut;
        EXPECT_TRUE(first || find_authorise_address(text, searched) == address) << cut;
    }
}

// RFC 7636, appendix B. That what is sent fits together, and its escapes, is seen by the test of a whole
// sign-in.
TEST(Pkce, ChallengeFollowsFromTheVerifier) {
    EXPECT_EQ(compute_pkce_challenge("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk"),
              "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM");
    EXPECT_TRUE(generate_pkce_verifier().size() == 43 &&
                generate_pkce_verifier() != generate_pkce_verifier());
    auto extended = address + "&code_challenge=1";
    EXPECT_FALSE(add_pkce_challenge(extended));
}

TEST(TokenExchange, CutsTheTokenByPlainSearch) {
    for (const auto& [reply, token] :
         Texts{{R"({"access_token":"a","refresh_token":"M.C1!x","id":"y"})", "M.C1!x"},
               {R"({"refresh_token" : "a\"b"})", "a\\"},
               {R"(refresh_token:"a")", ""},
               {R"({"refresh_token":"cut)", ""},
               {"\xFF\xFE", ""}})
        EXPECT_EQ(cut_refresh_token(reply), token) << reply;
}
} // namespace
