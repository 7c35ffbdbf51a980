/*
 * schemaText.cpp
 *
 *   file      = { head | member }                 one a line; "#" begins a comment
 *   namespace = "namespace" ("qorm" | "ozy" | "ferry") ["unlisted"]
 *   head      = kind Name ["in" Name] [":" Name] ["=" Path] ["@" version | "..."]
 *   kind      = "data" | "event" | "fault" | "managed" | "enum"
 *   member    = field | method | { word }          indented, below its head; words in enumerations
 *                                                 only
 *   field     = name type ["@" version]
 *   method    = Name "(" [name type {"," name type}] ")" [type] ["=" stub]
 *                                                 may run over several lines
 *   type      = "*" | ["~"] name ["[]"] ["?" | "!"]
 */
#include "ozy/lib/schemaText/schemaText.h"

#include <array>
#include <span>

namespace {

constexpr gsize kMaxLine = 240; /* bytes; longer lines are a broken file rather than a table */

struct Token {
    std::string_view text;
    guint32 line;
    gsize column; /* white space before it on its line, in bytes */
    bool isFirst; /* begins a line */
};

bool IsNameByte(char byte) {
    return g_ascii_isalnum(byte) || byte == '_';
}

bool IsVersionByte(char byte) {
    return IsNameByte(byte) || byte == '/' || byte == '.';
}

struct Parser {
    SchemaModel *model;
    SchemaErrors *errors;
    guint32 file;
    std::vector<Token> tokens;
    gsize at = 0;
    SchemaNamespace ns = SCHEMA_NUM_NAMESPACES;
    bool isUnlisted = false;
    gsize memberColumn = 0; /* where the member that is being read begins */
    bool failed = false;

    void fail(guint32 line, const std::string &message) {
        SchemaErrors_Add(errors, *model, {file, line}, message);
        failed = true;
    }
};

/* The length of the token that begins the text, which begins with no white space. */
gsize TokenLength(std::string_view text) {
    if (text.starts_with("..."))
        return 3;
    if (text.starts_with("[]"))
        return 2;

    gsize length = 1;
    if (text[0] == '@') {
        while (length < text.size() && IsVersionByte(text[length]))
            length++;
    } else if (IsNameByte(text[0])) {
        while (length < text.size() && IsNameByte(text[length]))
            length++;
    }
    return length;
}

void LexLine(Parser *parser, std::string_view text, guint32 line) {
    if (text.size() > kMaxLine)
        return parser->fail(line, "line of more than " + std::to_string(kMaxLine) + " bytes");
    for (char byte : text) {
        if (byte != '\t' && !g_ascii_isprint(byte))
            return parser->fail(line, "byte that is no printable ASCII");
    }

    text = text.substr(0, text.find('#'));
    bool isFirst = true;
    for (gsize i = 0; i < text.size();) {
        if (g_ascii_isspace(text[i])) {
            i++;
            continue;
        }
        const gsize length = TokenLength(text.substr(i));
        parser->tokens.push_back({text.substr(i, length), line, i, isFirst});
        isFirst = false;
        i += length;
    }
}

void Lex(Parser *parser, std::string_view text) {
    for (guint32 line = 1; !text.empty(); line++) {
        const gsize end = std::min(text.find('\n'), text.size());
        std::string_view content = text.substr(0, end);
        if (content.ends_with('\r'))
            content.remove_suffix(1);
        LexLine(parser, content, line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

bool AtEnd(const Parser &parser) {
    return parser.at == parser.tokens.size();
}

/* Is the next token on the line of the one before it, and this text? */
bool Peek(const Parser &parser, std::string_view text) {
    return !AtEnd(parser) && !parser.tokens[parser.at].isFirst &&
           parser.tokens[parser.at].text == text;
}

bool Accept(Parser *parser, std::string_view text) {
    if (!Peek(*parser, text))
        return false;
    parser->at++;
    return true;
}

bool LineEnded(const Parser &parser) {
    return AtEnd(parser) || parser.tokens[parser.at].isFirst;
}

guint32 PreviousLine(const Parser &parser) {
    return parser.at > 0 ? parser.tokens[parser.at - 1].line : 1;
}

/* Reports what was expected instead of the token at this place. */
bool FailWanted(Parser *parser, const char *wanted) {
    if (LineEnded(*parser)) {
        parser->fail(PreviousLine(*parser),
                     std::string(wanted) + " missing at the end of the line");
    } else {
        const Token &token = parser->tokens[parser->at];
        parser->fail(token.line, std::string("unexpected '") + std::string(token.text) +
                                     "' where " + wanted + " belongs");
    }
    return false;
}

bool FailWord(Parser *parser, const Token &token, const char *what) {
    parser->fail(token.line, std::string(what) + " '" + std::string(token.text) + "'");
    return false;
}

bool ParseName(Parser *parser, const char *wanted, std::string *name) {
    if (LineEnded(*parser) || !IsNameByte(parser->tokens[parser->at].text[0]))
        return FailWanted(parser, wanted);

    const Token &token = parser->tokens[parser->at];
    if (g_ascii_isdigit(token.text[0]))
        return FailWord(parser, token, "name that begins with a digit:");
    *name = token.text;
    parser->at++;
    return true;
}

bool ParseVersion(Parser *parser, std::string *version) {
    if (LineEnded(*parser) || parser->tokens[parser->at].text[0] != '@')
        return true;

    const Token &token = parser->tokens[parser->at];
    if (token.text.size() == 1)
        return FailWord(parser, token, "no version behind");
    *version = token.text.substr(1);
    parser->at++;
    return true;
}

bool ParseType(Parser *parser, TableTypeRef *type) {
    if (Accept(parser, "*")) {
        type->isUnknown = true;
        type->isArray = Accept(parser, "[]");
        return true;
    }
    type->isLikely = Accept(parser, "~");
    if (!ParseName(parser, "a type", &type->name))
        return false;
    type->isArray = Accept(parser, "[]");
    type->isOptional = Accept(parser, "?");
    type->isRequired = !type->isOptional && Accept(parser, "!");
    return true;
}

/* Whether the next token is indented deeper than the member that is being read. */
bool IsDeeper(const Parser &parser) {
    return !AtEnd(parser) && parser.tokens[parser.at].column > parser.memberColumn;
}

/* Between the parentheses of a method its lines are one. */
void JoinLine(Parser *parser) {
    if (IsDeeper(*parser))
        parser->tokens[parser->at].isFirst = false;
}

bool ParseArgument(Parser *parser, TableMethod *method) {
    JoinLine(parser);
    TableArgument argument;
    argument.place = {parser->file, PreviousLine(*parser)};
    if (!LineEnded(*parser))
        argument.place.line = parser->tokens[parser->at].line;
    if (!ParseName(parser, "an argument's name", &argument.name) ||
        !ParseType(parser, &argument.type))
        return false;
    method->arguments.push_back(std::move(argument));
    JoinLine(parser);
    return true;
}

bool ParseArguments(Parser *parser, TableMethod *method) {
    JoinLine(parser);
    if (Accept(parser, ")"))
        return true;
    do {
        if (!ParseArgument(parser, method))
            return false;
    } while (Accept(parser, ","));
    return Accept(parser, ")") || FailWanted(parser, "',' or ')'");
}

/* Behind the opening parenthesis. */
bool ParseMethod(Parser *parser, const Token &name, TableType *type) {
    TableMethod method;
    method.place = {parser->file, name.line};
    method.wireName = name.text;
    if (!ParseArguments(parser, &method))
        return false;
    if (!LineEnded(*parser) && !Peek(*parser, "=") && !ParseType(parser, &method.result))
        return false;
    if (Accept(parser, "=") && !ParseName(parser, "a stub's name", &method.stub))
        return false;
    type->methods.push_back(std::move(method));
    return true;
}

bool ParseField(Parser *parser, const Token &name, TableType *type) {
    TableField field;
    field.place = {parser->file, name.line};
    field.name = name.text;
    if (!ParseType(parser, &field.type) || !ParseVersion(parser, &field.version))
        return false;
    type->fields.push_back(std::move(field));
    return true;
}

/* Words may begin with a digit: in C they follow the name of their class. */
bool ParseWords(Parser *parser, TableType *type) {
    do {
        const Token &token = parser->tokens[parser->at];
        if (!IsNameByte(token.text[0]))
            return FailWord(parser, token, "no word of an enumeration:");
        type->words.push_back({{parser->file, token.line}, std::string(token.text)});
        parser->at++;
    } while (!LineEnded(*parser));
    return true;
}

bool ParseMember(Parser *parser, TableType *type) {
    const Token name = parser->tokens[parser->at];
    parser->memberColumn = name.column;
    if (type->form == SCHEMA_FORM_ENUM)
        return ParseWords(parser, type);
    if (!IsNameByte(name.text[0]) || g_ascii_isdigit(name.text[0]))
        return FailWord(parser, name, "no field or method can begin with");
    parser->at++;
    if (!Accept(parser, "("))
        return ParseField(parser, name, type);
    if (type->form != SCHEMA_FORM_MANAGED)
        return FailWord(parser, name, "method outside a managed class:");
    return ParseMethod(parser, name, type);
}

bool ParseForm(std::string_view word, SchemaForm *form) {
    for (int i = SCHEMA_FORM_DATA; i <= SCHEMA_FORM_ENUM; i++) {
        if (word == SchemaForm_Word(static_cast<SchemaForm>(i))) {
            *form = static_cast<SchemaForm>(i);
            return true;
        }
    }
    return false;
}

bool ParseNamespace(Parser *parser) {
    std::string word;
    if (!ParseName(parser, "a namespace", &word))
        return false;
    parser->ns = SchemaNamespace_Parse(word);
    if (parser->ns == SCHEMA_NUM_NAMESPACES)
        return FailWord(parser, parser->tokens[parser->at - 1], "unknown namespace");
    parser->isUnlisted = Accept(parser, "unlisted");
    return LineEnded(*parser) || FailWanted(parser, "the end of the line");
}

/* Behind the kind. */
bool ParseHead(Parser *parser, TableType *type) {
    if (!ParseName(parser, "the name of a type", &type->name))
        return false;
    if (Accept(parser, "in") && !ParseName(parser, "the enclosing class", &type->enclosing))
        return false;
    if (Accept(parser, ":") && !ParseName(parser, "a base", &type->base))
        return false;
    if (Accept(parser, "=") && !ParseName(parser, "a path", &type->path))
        return false;
    if (!ParseVersion(parser, &type->version))
        return false;
    if (type->version.empty())
        type->isPartial = Accept(parser, "...");
    return LineEnded(*parser) || FailWanted(parser, "the end of the line");
}

/* The words that begin at the margin. Hands out the new type, or NULL for a namespace or a failure.
 */
TableType *ParseMargin(Parser *parser) {
    const Token word = parser->tokens[parser->at++];
    if (word.text == "namespace") {
        ParseNamespace(parser);
        return nullptr;
    }

    TableType type;
    type.place = {parser->file, word.line};
    if (!ParseForm(word.text, &type.form)) {
        FailWord(parser, word, "unknown kind of type");
        return nullptr;
    }
    if (parser->ns == SCHEMA_NUM_NAMESPACES) {
        parser->fail(word.line, "no 'namespace' line before the first type");
        parser->ns = SCHEMA_NAMESPACE_QORM;
    }
    type.ns = parser->ns;
    type.isUnlisted = parser->isUnlisted;
    if (!ParseHead(parser, &type))
        return nullptr;
    parser->model->types.push_back(std::move(type));
    return &parser->model->types.back();
}

void SkipLine(Parser *parser) {
    while (!LineEnded(*parser))
        parser->at++;
}

/* After a fault: to the next member or head. */
void SkipMember(Parser *parser) {
    while (!LineEnded(*parser) || IsDeeper(*parser))
        parser->at++;
}

void ParseTokens(Parser *parser) {
    TableType *type = nullptr;
    bool hasHead = false; /* even one that could not be read; its members are passed over then */
    while (!AtEnd(*parser)) {
        const Token token = parser->tokens[parser->at];
        if (token.column == 0) {
            type = ParseMargin(parser);
            hasHead = token.text != "namespace";
            SkipLine(parser);
            continue;
        }
        parser->tokens[parser->at].isFirst = false; /* skipping the line takes it along */
        if (type == nullptr) {
            if (!hasHead)
                FailWord(parser, token, "indented line below no type:");
            SkipLine(parser);
            continue;
        }
        if (!ParseMember(parser, type) ||
            (!LineEnded(*parser) && !FailWanted(parser, "the end of the line")))
            SkipMember(parser);
    }
}

constexpr auto kNamespaceWords = std::to_array<const char *>({"qorm", "ozy", "ferry"});
static_assert(kNamespaceWords.size() == SCHEMA_NUM_NAMESPACES);

constexpr auto kFormWords =
    std::to_array<const char *>({"data", "event", "fault", "managed", "enum"});
static_assert(kFormWords.size() == SCHEMA_FORM_ENUM + 1);

} // namespace

std::string SchemaPlace_Text(const SchemaModel &model, TablePlace place) {
    const std::string &file = model.files[place.file];
    return place.line == 0 ? file : file + ":" + std::to_string(place.line);
}

void SchemaErrors_Add(SchemaErrors *errors, const SchemaModel &model, TablePlace place,
                      std::string_view message) {
    errors->count++;
    if (errors->messages.size() == SchemaErrors::kMaxMessages)
        return;
    errors->messages.push_back(SchemaPlace_Text(model, place) + ": " + std::string(message));
}

const char *SchemaNamespace_Word(SchemaNamespace ns) {
    return kNamespaceWords[ns];
}

SchemaNamespace SchemaNamespace_Parse(std::string_view word) {
    gsize i = 0;
    while (i < kNamespaceWords.size() && word != kNamespaceWords[i])
        i++;
    return static_cast<SchemaNamespace>(i);
}

const char *SchemaForm_Word(SchemaForm form) {
    return kFormWords[form];
}

bool SchemaText_Parse(SchemaModel *model, const char *fileName, std::string_view text,
                      SchemaErrors *errors) {
    model->files.push_back(fileName);
    Parser parser{model, errors, static_cast<guint32>(model->files.size() - 1), {}};
    Lex(&parser, text);
    if (!parser.failed)
        ParseTokens(&parser);
    return !parser.failed;
}
