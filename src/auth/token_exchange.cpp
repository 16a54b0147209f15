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

#include <libsoup/soup.h>
#include <utility>

namespace {
// The functions of libsoup that one request needs. They are found when needed, because libsoup loads a dozen
// other libraries and is used once per account.
struct Soup {
    SharedLibrary library{"libsoup-3.0.so.0"};
    FOUND_IN_LIBRARY(soup_session_new);
    FOUND_IN_LIBRARY(soup_session_send_and_read);
    FOUND_IN_LIBRARY(soup_message_new);
    FOUND_IN_LIBRARY(soup_message_set_request_body_from_bytes);
    FOUND_IN_LIBRARY(soup_message_get_status);
};
} // namespace

TokenReply post_token_request(const std::string& origin, const std::string& body) {
    // Never destroyed, because a worker may still use it when the process ends.
    static const Soup& soup = *new Soup();
    if (!soup.library.error().empty()) {
        print_error("ERROR: libsoup could not be loaded: " + soup.library.error());
        return {};
    }
    g_autoptr(SoupSession) session = soup.soup_session_new();
    const auto address = origin + std::string(token_path);
    g_autoptr(SoupMessage) message = soup.soup_message_new("POST", address.c_str());
    if (message == nullptr)
        return {};
    g_autoptr(GBytes) sent = g_bytes_new(body.data(), body.size());
    soup.soup_message_set_request_body_from_bytes(message, "application/x-www-form-urlencoded", sent);
    g_autoptr(GBytes) bytes = soup.soup_session_send_and_read(session, message, nullptr, nullptr);
    TokenReply reply;
    reply.status = soup.soup_message_get_status(message);
    if (bytes != nullptr) {
        gsize size = 0;
        const auto* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
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
    const PkceSignIn sign_in{pkce_verifier, pkce_client_id, pkce_redirect_uri};
    // The worker owns copies of everything that it uses; it only passes `this` on to the tasks that it posts.
    const bool underway = start_worker([this, sign_in, code, instance] {
        auto reply = post_token_request(std::string(identity_origin), token_request_body(sign_in, code));
        // The status is only printed: a token in the reply counts, whatever the status is.
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
        return; // given up or restarted meanwhile; the token file stays
    gui_exchange_succeeded = true;
    stop_login_process();
    on_login_successful();
}

// Reported for a newer attempt, too, on purpose. The program then ends, and its shutdown stops the client.
void Application::on_token_exchange_failed(unsigned status, const std::string& reply) {
    show_login_error("Token exchange failed (HTTP " + std::to_string(status) + ").\n\nServer response:\n" +
                     reply);
}
