#include "ozy/lib/orvane/soap/wireText.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "apps/lib/basicHttp/basicHttp.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/printableText.h"
#include "lib/misc/secret.h"

namespace {

constexpr std::string_view kRedacted = "[redacted]";
/* A body with more levels is shown as one that is no XML. */
constexpr size_t kMaxDepth = 256;
/* Deeper levels are not indented further. */
constexpr size_t kMaxIndent = 32;
constexpr std::string_view kBlanks = " \t\r\n";

std::string_view Trim(std::string_view text) {
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

/* Where a text is found at or after a place; the end if it is not there. */
size_t FindFrom(std::string_view text, std::string_view part, size_t from) {
    return std::min(text.find(part, from), text.size());
}

bool IsSecretName(std::string_view name) {
    return BasicHttp_IsSecretName(name.data(), name.size());
}

/* Whether a text is the name of something, such as "config.extraConfig", and no value. */
bool IsIdentifier(std::string_view text) {
    constexpr size_t kMaxIdentifier = 64;
    return text.size() <= kMaxIdentifier &&
           std::ranges::all_of(text, [](char c) { return g_ascii_isalpha(c) || c == '.'; });
}

/* What is shown of a text. */
struct Judgement {
    size_t numShown; /* bytes up to the first name of a secret */
    bool
        namesSecret; /* the text is one word or a label that ends in a secret's name: its value is likely to follow */
};

Judgement Judge(std::string_view text) {
    if (IsIdentifier(text))
        return {text.size(), IsSecretName(text)};
    const size_t end = BasicHttp_FindSecretName(text.data(), text.size());
    constexpr size_t kMaxName = 128;
    const bool isName = end >= text.size() || text.find_first_of(kBlanks) == std::string_view::npos;
    return {std::min(end, text.size()), end != G_MAXSIZE && text.size() <= kMaxName && isName};
}

/* Appends a text up to the first name of a secret in it. Returns whether the text is such a name. */
bool AppendText(std::string *out, std::string_view text) {
    if (IsIdentifier(text)) { /* nearly all */
        out->append(text);
        return IsSecretName(text);
    }
    const GPtr<char> withoutUrls(BasicHttp_RedactUrls(text.data(), text.size()));
    if (withoutUrls)
        text = withoutUrls.get();
    const Judgement judgement = Judge(text);
    out->append(PrintableText_Make(text.substr(0, judgement.numShown)));
    if (judgement.numShown < text.size())
        out->append(kRedacted);
    return judgement.namesSecret;
}

/* An element whose end tag has not been read. */
struct OpenElement {
    std::string_view name;
    size_t line;        /* where its start tag begins in the output */
    size_t content;     /* behind its start tag there */
    bool hasLines;      /* its children are on lines of their own */
    bool hidesChildren; /* a name of a secret was read; its value is beside it */
    bool hasMore;       /* it has more than one child */
    bool isName; /* all that it has is the name of a secret: its value is beside the element */
};

class Layout {
public:
    Layout(std::string_view whole, std::string *lines) : out(*lines), body(whole) {}

    /* Returns whether the body is XML, as far as it goes. */
    bool Read();

private:
    bool ReadMarkup();
    bool ReadStartTag();
    bool ReadEndTag();
    void AddText(std::string_view piece);
    void EndText();
    void NoteName(size_t line);
    OpenElement Close();
    size_t HideSiblings(size_t line);
    size_t AppendAttributes(size_t place, bool isHidden, bool *namesSecret);
    size_t TagEnd(size_t place) const;
    void SkipSecret(std::string_view name, size_t line);
    void StartLine();
    std::string_view NameAt(size_t place) const;
    bool StartsWith(std::string_view part) const { return body.substr(at).starts_with(part); }

    std::string &out;
    std::string_view body;
    size_t at = 0;
    std::string_view text; /* of the element that is open; in the body, or in "joined" */
    std::string joined;    /* one that comments or CDATA divide */
    std::vector<OpenElement> open;
};

std::string_view Layout::NameAt(size_t place) const {
    const std::string_view rest = body.substr(std::min(place, body.size()));
    const auto isNameByte = [](char c) {
        return g_ascii_isalnum(c) || c == ':' || c == '_' || c == '-' || c == '.' || (c & 0x80);
    };
    return rest.substr(0, size_t(std::ranges::find_if_not(rest, isNameByte) - rest.begin()));
}

void Layout::StartLine() {
    out += '\n';
    out.append(2 + 2 * std::min(open.size(), kMaxIndent), ' ');
}

bool Layout::Read() {
    constexpr size_t kUsualDepth = 16;
    open.reserve(kUsualDepth);
    at = body.starts_with("\xef\xbb\xbf") ? 3 : 0;
    while (at < body.size()) {
        const size_t markup = FindFrom(body, "<", at);
        const std::string_view piece = Trim(body.substr(at, markup - at));
        if (!piece.empty() && open.empty())
            return false;
        AddText(piece);
        at = markup;
        if (at < body.size() && !ReadMarkup())
            return false;
    }
    EndText();
    while (!open.empty())
        Close();
    return true;
}

/* Reads what begins with the '<' at the current place. */
bool Layout::ReadMarkup() {
    constexpr std::string_view kCData = "<![CDATA[";
    constexpr std::string_view kDataEnd = "]]>";
    if (StartsWith("<!--")) {
        at = FindFrom(body, "-->", at + 4) + 3;
        return true;
    }
    if (StartsWith("<?")) {
        at = FindFrom(body, "?>", at) + 2;
        return true;
    }
    if (StartsWith(kCData) && !open.empty()) {
        const size_t begin = at + kCData.size();
        const size_t end = FindFrom(body, kDataEnd, begin);
        AddText(body.substr(begin, end - begin));
        at = end + kDataEnd.size();
        return true;
    }
    if (StartsWith("</")) {
        EndText();
        return ReadEndTag();
    }
    /* a markup of a kind that a cut has left unknown */
    const std::string_view rest = body.substr(at);
    if (rest.size() > 1 && (kCData.starts_with(rest) || rest == "<!-")) {
        at = body.size();
        return true;
    }
    EndText();
    return ReadStartTag();
}

void Layout::AddText(std::string_view piece) {
    if (text.empty()) {
        text = piece;
        return;
    }
    if (joined.empty())
        joined = text;
    joined.append(piece);
    text = joined;
}

/* Appends the text that was collected. */
void Layout::EndText() {
    if (text.empty() || open.empty())
        return;
    if (open.back().hasLines)
        StartLine();
    if (open.back().hidesChildren)
        out += kRedacted;
    else if (AppendText(&out, text) && open.size() > 1) {
        OpenElement element = open.back();
        open.pop_back();
        const size_t place = HideSiblings(element.line);
        element.content += place - element.line;
        element.line = place;
        element.isName = !element.hasLines;
        open.push_back(element);
    }
    text = {};
    joined.clear();
}

/* A child of the element that is open is the name of a secret, which begins at this place of the output. */
void Layout::NoteName(size_t line) {
    HideSiblings(line);
    open.back().isName = !open.back().hasMore;
}

/* The element that was opened last is over, with an end tag or by a cut. */
OpenElement Layout::Close() {
    const OpenElement element = open.back();
    open.pop_back();
    if (element.isName && !open.empty())
        NoteName(element.line);
    return element;
}

/* The element that is open has a child that is the name of a secret, which begins at this place of the output. The value
 * may be before it or after it. Returns the place of the child. */
size_t Layout::HideSiblings(size_t line) {
    OpenElement &parent = open.back();
    if (std::exchange(parent.hidesChildren, true) || line <= parent.content)
        return line;
    const std::string child = out.substr(line);
    out.resize(parent.content);
    StartLine();
    out.append(kRedacted);
    const size_t place = out.size();
    out.append(child);
    return place;
}

bool Layout::ReadEndTag() {
    const std::string_view name = NameAt(at + 2);
    const size_t end = FindFrom(body, ">", at + 2 + name.size());
    const bool isCut = end == body.size();
    if (!isCut && (open.empty() || open.back().name != name))
        return false;
    at = end + 1;
    if (isCut)
        return true;
    if (Close().hasLines)
        StartLine();
    out.append("</").append(name) += '>';
    return true;
}

/* Appends the attributes from a place on, without their values if one of them is known to name a secret. Returns the
 * place of the '>' or "/>", the end of the body, or npos for what is no attribute. */
size_t Layout::AppendAttributes(size_t place, bool isHidden, bool *namesSecret) {
    while (place < body.size()) {
        place = std::min(body.find_first_not_of(kBlanks, place), body.size());
        if (place == body.size() || body[place] == '>' || body.substr(place).starts_with("/>"))
            return place;
        const std::string_view name = NameAt(place);
        const size_t quote = place + name.size() + 1;
        const bool isAttribute = !name.empty() && quote < body.size() && body[quote - 1] == '=' &&
                                 (body[quote] == '"' || body[quote] == '\'');
        if (!isAttribute)
            return std::string_view::npos;
        const size_t end = body.find(body[quote], quote + 1);
        if (end == std::string_view::npos)
            return body.size();
        const std::string_view value = body.substr(quote + 1, end - quote - 1);
        place = end + 1;
        if (name.starts_with("xmlns:"))
            continue;
        (out += ' ').append(name).append("=\"");
        const bool isType = name.ends_with("type") && IsIdentifier(value);
        if ((isHidden && !isType) || IsSecretName(name)) {
            out.append(kRedacted);
            *namesSecret = *namesSecret || Judge(value).namesSecret;
        } else if (AppendText(&out, value) && !name.starts_with("xmlns"))
            *namesSecret = true;
        out += '"';
    }
    return place;
}

bool Layout::ReadStartTag() {
    const std::string_view name = NameAt(at + 1);
    if (open.size() == kMaxDepth || (name.empty() && at + 1 < body.size()))
        return false;
    if (at + 1 + name.size() >= body.size()) {
        at = body.size(); /* the name itself may be cut */
        return true;
    }
    if (open.empty() && g_ascii_strncasecmp(name.data(), "html", name.size()) == 0)
        return false; /* tags of a page may break the names of secrets */
    bool isSecret = IsSecretName(name);
    if (!open.empty()) {
        isSecret = isSecret || open.back().hidesChildren;
        open.back().hasMore = std::exchange(open.back().hasLines, true);
        open.back().isName = open.back().isName && !open.back().hasMore;
    }
    const size_t line = out.size();
    StartLine();
    (out += '<').append(name);
    const size_t attributes = out.size();
    const size_t place = at + 1 + name.size();
    bool namesSecret = false;
    const size_t end = AppendAttributes(place, isSecret, &namesSecret);
    if (end == std::string_view::npos)
        return false;
    if (isSecret || namesSecret)
        out.resize(attributes);
    if (!isSecret && namesSecret)
        AppendAttributes(place, true, &namesSecret);
    isSecret = isSecret || namesSecret;
    if (end == body.size()) {
        at = end;
        return true;
    }
    if (body[end] == '/') {
        out += "/>";
        at = end + 2;
        return true;
    }
    out += '>';
    at = end + 1;
    if (isSecret)
        SkipSecret(name, line);
    else
        open.push_back({name, line, out.size(), false, false, false, false});
    return true;
}

/* The place of the '>' that ends a tag; the end of the body if there is none. */
size_t Layout::TagEnd(size_t place) const {
    while (place < body.size() && body[place] != '>') {
        const char c = body[place++];
        if (c == '"' || c == '\'')
            place = FindFrom(body, std::string_view(&c, 1), place) + 1;
    }
    return std::min(place, body.size());
}

/* Leaves out the content of an element up to its end tag, or to the end of the body. */
void Layout::SkipSecret(std::string_view name, size_t line) {
    constexpr size_t kMaxText = 256; /* longer ones are no names */
    constexpr std::string_view kCData = "<![CDATA[";
    const size_t begin = at;
    std::string content; /* its texts, which may be the name of another secret */
    content.reserve(kMaxText);
    const auto keep = [&](std::string_view piece) {
        content.append(piece.substr(0, kMaxText - std::min(kMaxText, content.size())));
    };
    size_t depth = 1;
    size_t tag = FindFrom(body, "<", at);
    keep(Trim(body.substr(at, tag - at)));
    size_t end = tag;
    while (tag < body.size()) {
        const bool isEnd = body.substr(tag).starts_with("</");
        end = tag;
        at = tag + 1;
        if (body.substr(tag).starts_with("<!--"))
            at = FindFrom(body, "-->", tag + 4) + 2;
        else if (body.substr(tag).starts_with("<![")) {
            at = FindFrom(body, "]]>", tag) + 2;
            keep(body.substr(tag, at - 2 - tag).substr(std::min(kCData.size(), at - 2 - tag)));
        } else if (body.substr(tag).starts_with("<?"))
            at = FindFrom(body, "?>", tag) + 1;
        else if (NameAt(tag + 1 + isEnd) == name) {
            const size_t close = TagEnd(tag);
            at = close;
            if (isEnd)
                depth--;
            else if (close < body.size() && body[close - 1] != '/')
                depth++;
        } else
            at = TagEnd(tag);
        if (depth == 0)
            break;
        at = std::min(at + 1, body.size());
        tag = FindFrom(body, "<", at);
        keep(Trim(body.substr(at, tag - at)));
    }
    at = tag == body.size() ? tag : at + 1;
    if (depth > 0 || begin != end)
        out.append(kRedacted);
    if (depth == 0)
        out.append("</").append(name) += '>';
    if (!open.empty() && Judge(content).namesSecret)
        NoteName(line);
    Secret_Wipe(content.data(), content.size());
}

/* Up to a NUL. */
void AppendAnyText(std::string *out, std::string_view body) {
    const GPtr<char> copy(g_strndup(body.data(), body.size()));
    const GPtr<char> redacted(BasicHttp_Redact(copy.get()));
    for (std::string_view rest = redacted.get(); !rest.empty();) {
        const size_t end = FindFrom(rest, "\n", 0);
        std::string_view line = rest.substr(0, end);
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        out->append("\n  ").append(PrintableText_Make(line));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
}

} // namespace

void WireText_Append(std::string *out, std::string_view body) {
    const size_t begin = out->size();
    out->reserve(begin + 2 * body.size());
    if (Layout(body, out).Read())
        return;
    out->resize(begin);
    AppendAnyText(out, body);
}
