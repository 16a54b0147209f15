// SPDX-License-Identifier: MIT
#include "auth/token_exchange.h"

#include "auth/token_reply.h"

#include <future>
#include <giomm/socketlistener.h>
#include <gtest/gtest.h>

namespace {
// Plays a token endpoint on loopback for one request; returns what it was asked and what came back.
std::pair<std::string, TokenReply> play_exchange(const std::string& body, const std::string& answer) {
    const auto listener = Gio::SocketListener::create();
    const auto origin = "http://127.0.0.1:" + std::to_string(listener->add_any_inet_port());
    auto asked = std::async(std::launch::async, [&] {
        const auto connection = listener->accept();
        std::string request;
        std::array<char, 4096> piece{};
        while (!request.ends_with("\r\n\r\n" + body)) {
            const auto size = connection->get_input_stream()->read(piece.data(), piece.size());
            request.append(piece.data(), static_cast<std::size_t>(size));
        }
        gsize written = 0;
        connection->get_output_stream()->write_all(answer, written);
        connection->close();
        return request;
    });
    auto reply = post_token_request(origin, body);
    return {asked.get(), std::move(reply)};
}

TEST(TokenExchange, SendsOneFormAndReturnsTheReplyWhateverItsStatus) {
    const auto body = token_request_body({"id", "c/d", "https://x", "v"});
    for (const auto& [status, text] : std::vector<std::pair<unsigned, std::string>>{
             {400, R"({"refresh_token":"a\"b"})"}, {200, std::string(3'000'000, '\xFF') + '\0'}}) {
        const auto [asked, reply] = play_exchange(body, "HTTP/1.1 " + std::to_string(status) +
                                                            " Any\r\nConnection: close\r\n\r\n" + text);
        EXPECT_TRUE(asked.starts_with("POST /common/oauth2/v2.0/token HTTP/1.1\r\n")) << asked;
        EXPECT_NE(asked.find("\r\nContent-Type: application/x-www-form-urlencoded\r\n"), std::string::npos);
        for (const char* unwanted : {"User-Agent:", "Accept:", "Cookie:", "Authorization:"})
            EXPECT_EQ(asked.find(unwanted), std::string::npos) << asked;
        EXPECT_EQ(reply.status, status);
        EXPECT_TRUE(reply.text == text);
    }
}

TEST(TokenExchange, NoServerIsStatusZero) {
    for (const char* origin : {"http://127.0.0.1:1", "not an address"}) {
        const auto reply = post_token_request(origin, "x");
        EXPECT_TRUE(reply.status == 0 && reply.text.empty()) << origin;
    }
}
} // namespace
