// SPDX-License-Identifier: MIT
// The client's output in monitor mode, cut into chunks at each "|" and after each byte. What is shown, in its
// order, and what is kept are those of a reader that searches its whole buffer with every chunk and reads
// each line alone. So the rows and the live states depend on the bytes only. The status line may depend on
// the cuts as well: of all the phrases in the buffer the first of the table wins.
#include "sync/activity.h"

#include "base/text.h"
#include "fuzz.h"

#include <vector>

namespace {
class Recorder : public ActivityView {
  public:
    void set_status_line(const std::string& text) override {
        must_hold(text.starts_with("Sync: ") && !contains(text, "\n"), "the status line is one line");
        calls.push_back(text);
    }

    void set_entry_status(std::string_view name, std::string_view status) override {
        must_hold(!contains(name, "/") && !contains(name, "\n"), "an entry is of the top level");
        calls.push_back(std::string(name).append(" / ").append(status));
    }

    void set_all_synced() override { calls.emplace_back("all"); }

    std::vector<std::string> calls;
};

struct Reader {
    void read(std::string_view chunk) {
        Activity activity{sync_dir, buffer, scan, live, view};
        read_activity(chunk, activity);
    }

    std::string sync_dir = "/s";
    std::string buffer;
    PhraseScan scan;
    StatusMap live;
    Recorder view;
};

struct SlowReader {
    void read(std::string_view chunk) {
        buffer += chunk;
        const auto row = first_status_phrase(buffer);
        if (row < status_phrases.size())
            calls.push_back(std::string("Sync: ").append(status_phrases[row].text));
        for (auto end = buffer.find('\n'); end != std::string::npos; end = buffer.find('\n')) {
            read_line(buffer.substr(0, end + 1));
            buffer.erase(0, end + 1);
        }
    }

    void read_line(const std::string& line) {
        Reader reader;
        reader.live = live;
        reader.read(line);
        const bool has_phrase = first_status_phrase(line) < status_phrases.size(); // told with its chunk
        calls.insert(calls.end(), reader.view.calls.begin() + (has_phrase ? 1 : 0), reader.view.calls.end());
        live = reader.live;
    }

    std::string buffer;
    StatusMap live;
    std::vector<std::string> calls;
};

struct Both {
    void read(std::string_view chunk) {
        fast.read(chunk);
        slow.read(chunk);
        must_hold(fast.view.calls == slow.calls, "a cut changes nothing that is shown");
        must_hold(fast.live == slow.live, "a cut changes no live state");
        must_hold(fast.buffer == slow.buffer, "the unfinished line is kept");
        fast.view.calls.clear();
        slow.calls.clear();
    }

    Reader fast;
    SlowReader slow;
};
} // namespace

void try_text(std::string_view text) {
    Both marked;
    Both bytes;
    for_each_piece(text, '|', [&](std::string_view chunk) {
        marked.read(chunk);
        for (; !chunk.empty(); chunk.remove_prefix(1))
            bytes.read(chunk.substr(0, 1));
    });
    must_hold(marked.fast.live == bytes.fast.live, "the live states depend on the bytes only");
    for (const auto& [name, status] : marked.fast.live)
        must_hold(status == status_word::uploading || status == status_word::downloading,
                  "only a transfer is live");
}
