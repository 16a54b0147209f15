// SPDX-License-Identifier: MIT
#include "auth/token_exchange.h"

#include "app/application.h"
#include "auth/authorise_address.h"
#include "auth/identity.h"
#include "auth/token_reply.h"
#include "base/print.h"
#include "process/client_files.h"
#include "process/main_loop.h"
#include "process/shared_library.h"
#include "ui/dialogs.h"

#include <glibmm/refptr.h>
#include <libsoup/soup.h>
#include <memory>
#include <utility>

namespace {
struct Release {
    void operator()(SoupSession* session) const { g_object_unref(session); }
    void operator()(SoupMessage* message) const { g_object_unref(message); }
    void operator()(GBytes* bytes) const { g_bytes_unref(bytes); }
};
template<typename T>
using Owned = std::unique_ptr<T, Release>;

// What one request takes of libsoup, which brings a dozen libraries along and is used once in an account's
// life.
struct Soup {
    SharedLibrary library{"libsoup-3.0.so.0"};
    decltype(soup_session_new)* session_new = nullptr;
    decltype(soup_session_send_and_read)* session_send_and_read = nullptr;
    decltype(soup_message_new)* message_new = nullptr;
    decltype(soup_message_set_request_body_from_bytes)* message_set_body = nullptr;
    decltype(soup_message_get_status)* message_get_status = nullptr;

    Soup() {
        library.find(session_new, "soup_session_new");
        library.find(session_send_and_read, "soup_session_send_and_read");
        library.find(message_new, "soup_message_new");
        library.find(message_set_body, "soup_message_set_request_body_from_bytes");
        library.find(message_get_status, "soup_message_get_status");
    }
};

Owned<SoupMessage> make_token_message(const Soup& soup, const std::string& origin, const std::string& body) {
    Owned<SoupMessage> message(soup.message_new("POST", (origin + std::string(token_path)).c_str()));
    if (message) {
        const Owned<GBytes> bytes(g_bytes_new(body.data(), body.size()));
        soup.message_set_body(message.get(), "application/x-www-form-urlencoded", bytes.get());
    }
    return message;
}
} // namespace

TokenReply post_token_request(const std::string& origin, const std::string& body) {
    // Never destroyed: a worker may still be at it when the process ends.
    static const Soup& soup = *new Soup();
    if (!soup.library.is_complete()) {
        print_error("ERROR: libsoup could not be loaded: " + soup.library.error());
        return {};
    }
    const Owned<SoupSession> session(soup.session_new());
    const auto message = make_token_message(soup, origin, body);
    if (!message)
        return {};
    const Owned<GBytes> bytes(soup.session_send_and_read(session.get(), message.get(), nullptr, nullptr));
    TokenReply reply;
    reply.status = soup.message_get_status(message.get());
    if (bytes) {
        gsize size = 0;
        const auto* data = static_cast<const char*>(g_bytes_get_data(bytes.get(), &size));
        reply.text.assign(data, data + size);
    }
    return reply;
}

void Application::do_token_exchange(const std::string& redirect_url, std::int32_t instance) {
    const auto code = extract_url_param(redirect_url, "code");
    if (code.empty()) {
        post_when_idle(
            [this] { show_login_error("Could not extract authorization code from redirect URL."); });
        return;
    }
    const TokenRequest request{pkce_client_id, code, pkce_redirect_uri, pkce_verifier};
    // The worker only carries `this` back; it owns copies of everything that it uses.
    const bool underway = start_worker([this, request, instance] {
        auto reply = post_token_request(std::string(identity_origin), token_request_body(request));
        // Whatever the status says, a token in the reply is what counts.
        print_line("DEBUG: Token exchange HTTP status: " + std::to_string(reply.status));
        const auto token = cut_refresh_token(reply.text);
        if (!token.empty() && save_client_token(token)) {
            print_line("DEBUG: Refresh token saved by GUI.");
            post_when_idle([this, instance] { on_token_saved(instance); });
            return;
        }
        post_when_idle(
            [this, reply = std::move(reply)] { on_token_exchange_failed(reply.status, reply.text); });
    });
    if (!underway)
        post_when_idle([this] { on_token_exchange_failed(0, ""); });
}

void Application::on_token_saved(std::int32_t instance) {
    if (login_instance != instance)
        return; // abandoned or restarted meanwhile; the token file stays
    gui_exchange_succeeded = true;
    stop_login_process();
    on_login_successful();
}

// Whichever attempt it was, and without ending the client, on purpose: the program ends here. But not when
// the last attempt is over.
void Application::on_token_exchange_failed(unsigned status, const std::string& reply) {
    show_login_error("Token exchange failed (HTTP " + std::to_string(status) + ").\n\nServer response:\n" +
                     reply);
}
