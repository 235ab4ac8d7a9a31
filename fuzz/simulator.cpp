/** @file simulator.cpp  What the simulator reads from its wires. */
#include "Control.h"
#include "IpmiCommands.h"
#include "MultipartReader.h"
#include "Router.h"
#include "fuzz.h"
#include "ipmi/frame.h"

using namespace torvosim;

static Bmc& bmc()
{
    static Bmc one{Options{}};
    if (one.tree.size() == 0) one.tree.loadBuiltIn();
    return one;
}

FUZZ(http_requests)
{
    struct Asked final : Exchange {
        const Request&   request() const override { return head; }
        std::string_view readSome() override { return body.take(100); }
        bool             beginStream(const Response&) override { return false; }
        bool             writeChunk(std::string_view) override { return false; }
        void             endStream() override {}
        int              socket() const override { return -1; }
        void             reset() override {}
        Request          head;
        fuzz::Input      body;
    } asked;
    asked.head.method = in.line();
    asked.head.target = in.line();
    asked.head.path   = targetPath(asked.head.target);
    for (auto line = in.line(); !line.empty(); line = in.line())
        asked.head.headers.emplace_back(line.substr(0, line.find(": ")),
                                        line.substr(line.find(": ") == line.npos ? 0 : line.find(": ") + 2));
    asked.body          = in;
    const auto response = Router(bmc()).handle(asked);
    if (response) fuzz::hold(response->status >= 200 && response->status < 600, "a status of HTTP");
}

FUZZ(multipart)
{
    struct Parts final : MultipartReader::Listener {
        void        partBegins(const Headers& headers) override { text += std::to_string(headers.size()) + ':'; }
        void        partData(std::string_view data) override { text += data; }
        void        partEnds() override { text += ';'; }
        std::string text;
    } cutParts, wholeParts;
    const std::size_t size     = in.byte() + 1;
    const std::string boundary = multipartBoundary(in.line());
    MultipartReader   cut(boundary, cutParts), whole(boundary, wholeParts);
    bool              good = whole.feed(in.left);
    while (good && !in.left.empty()) good = cut.feed(in.take(size));
    if (good) fuzz::hold(cutParts.text == wholeParts.text, "pieces of any size say the same");
    if (good) fuzz::hold(cut.complete() == whole.complete(), "and end alike");
}

FUZZ(frames)
{
    VmFrameReader            theirs;
    qvplatform::FrameDecoder ours;
    for (const char byte : in.left) {
        const auto frame = theirs.take(static_cast<std::uint8_t>(byte));
        ours.take(static_cast<std::uint8_t>(byte));
        if (!frame || !frame->isMessage) continue;
        IpmiMessage reply = frame->message;
        reply.data        = IpmiCommands(bmc()).answer(reply).data;
        std::optional<qvplatform::Message> back;
        for (const std::uint8_t sent : encodeMessage(reply)) back = ours.take(sent);
        fuzz::hold(back && back->bytes.size() == reply.data.size() + 2, "the host reads what the BMC sends");
    }
}

FUZZ(control_words)
{
    const auto words = splitWords(in.left);
    if (in.left.find('\n') == in.left.npos) fuzz::hold(splitWords(joinWords(words)) == words, "words survive the wire");
    // What sends many events, or reads a file that is named, would test the machine.
    if (!words.empty() && (words[0].rfind("events", 0) == 0 || words[0] == "raw")) return;
    fuzz::hold(runControlLine(bmc(), in.left).rfind("{\"", 0) == 0, "an answer is JSON");
}
