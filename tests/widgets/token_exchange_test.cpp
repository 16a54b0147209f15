// SPDX-License-Identifier: MIT
#include "auth/token_exchange.h"

#include "auth/token_reply.h"
#include "harness.h"

#include <libsoup/soup.h>

namespace {
// A token endpoint on loopback that answers as it is told and keeps what it was asked.
class TokenServer {
  public:
    TokenServer() {
        soup_server_add_handler(server.get(), nullptr, answer, this, nullptr);
        EXPECT_TRUE(soup_server_listen_local(server.get(), 0, SOUP_SERVER_LISTEN_IPV4_ONLY, nullptr));
        GSList* uris = soup_server_get_uris(server.get());
        origin = "http://127.0.0.1:" + std::to_string(g_uri_get_port(static_cast<GUri*>(uris->data)));
        g_slist_free_full(uris, [](void* uri) { g_uri_unref(static_cast<GUri*>(uri)); });
    }

    TokenReply post(const std::string& body) const {
        TokenReply reply;
        bool done = false;
        const bool started = start_worker([&, origin = origin] {
            auto got = post_token_request(origin, body);
            post_when_idle([&, got = std::move(got)] {
                reply = got;
                done = true;
            });
        });
        EXPECT_TRUE(started && turn_until([&] { return done; }));
        return reply;
    }

    unsigned status = 200;
    std::string text;
    std::string asked;
    std::string origin;

  private:
    static void answer(SoupServer* /*server*/, SoupServerMessage* message, const char* path,
                       GHashTable* /*query*/, gpointer self) {
        auto* own = static_cast<TokenServer*>(self);
        auto* body = soup_server_message_get_request_body(message);
        own->asked = std::string(soup_server_message_get_method(message)) + " " + path + "\n";
        soup_message_headers_foreach(
            soup_server_message_get_request_headers(message),
            [](const char* name, const char* value, gpointer to) {
                if (std::string(name) != "Host" &&
                    std::string(name) != "Accept-Encoding") // the library's own
                    static_cast<std::string*>(to)->append(name).append(": ").append(value).append("\n");
            },
            &own->asked);
        own->asked.append(body->data, static_cast<std::size_t>(body->length));
        soup_server_message_set_status(message, own->status, nullptr);
        soup_server_message_set_response(message, "application/json", SOUP_MEMORY_COPY, own->text.data(),
                                         own->text.size());
    }

    std::unique_ptr<SoupServer, decltype(&g_object_unref)> server{soup_server_new(nullptr, nullptr),
                                                                  g_object_unref};
};

TEST(TokenExchange, SendsOneFormAndReturnsTheReplyWhateverItsStatus) {
    TokenServer server;
    const auto body = token_request_body({"id", "c/d", "https://x", "v"});
    server.text = R"({"refresh_token":"a\"b"})";
    server.status = 400;
    const auto refused = server.post(body);
    EXPECT_EQ(server.asked,
              "POST /common/oauth2/v2.0/token\nContent-Type: application/x-www-form-urlencoded\n"
              "Content-Length: " +
                  std::to_string(body.size()) + "\nConnection: Keep-Alive\n" + body);
    EXPECT_EQ(refused.status, 400U);
    EXPECT_EQ(cut_refresh_token(refused.text), "a\\") << "an escaped quote ends the token";
    server.status = 200;
    server.text = std::string(3'000'000, '\xFF') + '\0';
    const auto huge = server.post(body);
    EXPECT_EQ(huge.status, 200U);
    EXPECT_TRUE(huge.text == server.text);
    EXPECT_EQ(cut_refresh_token(huge.text), "");
}

TEST(TokenExchange, NoServerIsStatusZero) {
    for (const char* origin : {"http://127.0.0.1:1", "not an address"}) {
        const auto reply = post_token_request(origin, "x");
        EXPECT_EQ(reply.status, 0U);
        EXPECT_EQ(reply.text, "");
    }
}
} // namespace
