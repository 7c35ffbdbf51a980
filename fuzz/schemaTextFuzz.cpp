/*
 * Tables from anybody: whatever the bytes, reading them ends with a model or with messages that say
 * where they are wrong. What is sound can be loaded, and then more be loaded over it. A line "%%"
 * ends one overlay and begins the next.
 */
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "ozy/lib/schemaText/schemaBuild.h"
#include "ozy/lib/schemaText/schemaCheck.h"
#include "ozy/lib/schemaText/schemaOverlay.h"
#include "ozy/lib/schemaText/schemaRecover.h"

namespace {

constexpr std::string_view kSeparator = "\n%%\n";

constexpr const char *kShipped = R"(namespace qorm
data DataObject : GObject  @all
data DynamicData : DataObject  @all
fault MethodFault : GObject = MethodFault  @all
managed ManagedObject : GInitiallyUnowned  @all
namespace ozy
data Full : DynamicData  @ozy25/4.0
  a  string
  b  int?  @ozy25/5.0
data Open : DynamicData ...
  p  string    @ozy2/2.0
  q  Full[]?   @ozy25/4.0
  r  int
data Below : Open ...
event Moved : DynamicData ...
fault Bad : MethodFault ...
enum Word in Open
  one two
managed Site : ManagedObject
  info  Open
  Build(what *, how *[], by ~Open, at int?, in Full!) Word[]
  Wait_Task() = wait
data Inner in Bad : DynamicData ...
)";

/* What the library holds from the start. */
struct Shipped {
    SchemaModel model;
    SchemaBuilt built;
    SchemaTables tables = {};

    Shipped() {
        SchemaErrors errors;
        if (!SchemaText_Parse(&model, "shipped.schema", kShipped, &errors) ||
            !SchemaCheck_Run(model, &errors))
            abort();
        built = SchemaBuild_Run(model);
        tables = SchemaBuild_Tables(&built);
    }
};

/* A refusal has a message, and nothing else has. */
bool Agree(bool isGood, const SchemaErrors &errors) {
    if (isGood != (errors.count == 0) || errors.messages.empty() != (errors.count == 0))
        abort();
    return isGood;
}

/* As the generator reads tables. */
void Generate(const Shipped &shipped, std::string_view text) {
    SchemaModel model = shipped.model;
    SchemaErrors errors;
    if (!Agree(SchemaText_Parse(&model, "a.schema", text, &errors), errors) ||
        !Agree(SchemaCheck_Run(model, &errors), errors))
        return;
    SchemaBuilt built = SchemaBuild_Run(model);
    SchemaRecover_Run(SchemaBuild_Tables(&built));
}

bool ApplyAll(std::string_view text, SchemaModel *model) {
    SchemaErrors errors;
    while (!text.empty()) {
        const size_t end = std::min(text.find(kSeparator), text.size());
        SchemaModel overlay;
        if (!Agree(SchemaText_Parse(&overlay, "b.schema", text.substr(0, end), &errors), errors) ||
            !Agree(SchemaOverlay_Apply(model, std::move(overlay), &errors), errors))
            return false;
        text.remove_prefix(std::min(end + kSeparator.size(), text.size()));
    }
    return Agree(SchemaOverlay_Check(*model, &errors), errors);
}

/* Rows keep all names, in their order. */
bool SameNames(const TableType &left, const TableType &right) {
    return left.name == right.name &&
           std::ranges::equal(left.fields, right.fields, {}, &TableField::name,
                              &TableField::name) &&
           std::ranges::equal(left.words, right.words, {}, &TableWord::word, &TableWord::word) &&
           std::ranges::equal(left.methods, right.methods, {}, &TableMethod::wireName,
                              &TableMethod::wireName);
}

/* As a program loads overlays: over what the rows say, and then the same once more. */
void Load(const Shipped &shipped, std::string_view text) {
    SchemaModel model = SchemaRecover_Run(shipped.tables);
    if (!ApplyAll(text, &model))
        return;
    SchemaBuilt built = SchemaBuild_Extend(shipped.tables, model);
    const SchemaTables tables = SchemaBuild_Tables(&built);
    SchemaModel again = SchemaRecover_Run(tables);
    if (!std::ranges::equal(again.types, model.types, SameNames) || !ApplyAll("", &again))
        abort(); // what was loaded is there, and can be loaded over
    if (ApplyAll(text, &again))
        SchemaBuild_Extend(tables, again);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const Shipped shipped;
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    Generate(shipped, text);
    Load(shipped, text);
    return 0;
}
