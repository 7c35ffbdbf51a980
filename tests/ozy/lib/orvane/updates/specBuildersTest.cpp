#include <orvane/specBuilders.h>

#include <orvane/schema/ozy.h>
#include <orvane/session.h>

#include "tests/ozy/lib/orvane/soap/soapFixture.h"

namespace {

std::string Text(GObject *spec) {
    const ObjectPtr<GObject> owner(spec);
    return Written("s", ObjectValue(owner).get(), "ozy25/6.0");
}

ObjectPtr<SkemaQormManagedObject> NewFolder(GType type) {
    auto folder = NewObject<SkemaQormManagedObject>(type);
    folder->id = g_strdup("group-1");
    return folder;
}

TEST(SpecBuilders, EmptyListsStayOffTheWire) {
    const GType task = skema_ozy_task_get_type();
    EXPECT_EQ("<s xsi:type=\"SelectionSpec\"></s>", Text(orvane_selection_spec_new(nullptr)));
    EXPECT_EQ("<s xsi:type=\"SelectionSpec\"><name xsi:type=\"xsd:string\">a</name></s>",
              Text(orvane_selection_spec_new("a")));
    EXPECT_EQ("<s xsi:type=\"PropertySpec\"><type xsi:type=\"xsd:string\">Task</type>"
              "<all xsi:type=\"xsd:boolean\">0</all></s>",
              Text(orvane_property_spec_new(task, FALSE, nullptr)));
    EXPECT_EQ("<s xsi:type=\"PropertySpec\"><type xsi:type=\"xsd:string\">Task</type>"
              "<all xsi:type=\"xsd:boolean\">1</all>"
              "<pathSet xsi:type=\"xsd:string\">info.state</pathSet>"
              "<pathSet xsi:type=\"xsd:string\">info.error</pathSet></s>",
              Text(orvane_property_spec_new(task, TRUE, "info.state", "info.error", nullptr)));
    EXPECT_EQ("<s xsi:type=\"TraversalSpec\"><type xsi:type=\"xsd:string\">Task</type>"
              "<path xsi:type=\"xsd:string\">info</path>"
              "<skip xsi:type=\"xsd:boolean\">0</skip></s>",
              Text(orvane_traversal_spec_new(nullptr, task, "info", FALSE, TRUE, nullptr)));
}

TEST(SpecBuilders, ASubclassOfTheApplicationGoesByItsParentsName) {
    const GType type = RegisterSubclass(skema_ozy_folder_get_type(), "TestSpecFolder");
    EXPECT_EQ("<s xsi:type=\"PropertySpec\"><type xsi:type=\"xsd:string\">Folder</type>"
              "<all xsi:type=\"xsd:boolean\">0</all></s>",
              Text(orvane_property_spec_new(type, FALSE, nullptr)));
    const auto folder = NewFolder(type);
    Value reference(type);
    g_value_set_object(reference.get(), folder.get());
    EXPECT_EQ("<f type=\"Folder\" xsi:type=\"ManagedObjectReference\">group-1</f>",
              Written("f", reference.get(), ""));
}

TEST(SpecBuilders, SpecsNestInOneExpression) {
    const GType folderType = skema_ozy_folder_get_type();
    EXPECT_EQ("<s xsi:type=\"TraversalSpec\"><name xsi:type=\"xsd:string\">down</name>"
              "<type xsi:type=\"xsd:string\">Folder</type>"
              "<path xsi:type=\"xsd:string\">childEntity</path>"
              "<skip xsi:type=\"xsd:boolean\">1</skip>"
              "<selectSet xsi:type=\"SelectionSpec\"><name xsi:type=\"xsd:string\">down</name>"
              "</selectSet>"
              "<selectSet xsi:type=\"TraversalSpec\"><type xsi:type=\"xsd:string\">Folder</type>"
              "<path xsi:type=\"xsd:string\">parent</path>"
              "<skip xsi:type=\"xsd:boolean\">0</skip></selectSet></s>",
              Text(orvane_traversal_spec_new(
                  "down", folderType, "childEntity", TRUE, TRUE, orvane_selection_spec_new("down"),
                  orvane_traversal_spec_new(nullptr, folderType, "parent", FALSE, TRUE, nullptr),
                  nullptr)));
}

TEST(SpecBuilders, AFilterSortsItsListAndSetsBothArrays) {
    const auto folder = NewFolder(skema_ozy_folder_get_type());
    const auto lengths = [](GObject *filter) {
        const ObjectPtr<GObject> owner(filter);
        return std::make_pair(GetList(filter, "propSet")->n_values,
                              GetList(filter, "objectSet")->n_values);
    };
    const auto property = [] {
        return orvane_property_spec_new(skema_ozy_folder_get_type(), TRUE, nullptr);
    };
    const auto object = [&] { return orvane_object_spec_new(folder.get(), FALSE, TRUE, nullptr); };
    EXPECT_EQ(std::make_pair(0u, 0u), lengths(orvane_filter_spec_new(TRUE, nullptr)));
    EXPECT_EQ(std::make_pair(2u, 1u), lengths(orvane_filter_spec_new(
                                          TRUE, property(), object(), property(),
                                          orvane_selection_spec_new("not of a filter"), nullptr)));
}

/* How often an object is referenced after a builder took or did not take the caller's reference. */
TEST(SpecBuilders, TakingOwnershipIsTheCallersChoice) {
    for (const bool takes : {false, true}) {
        const ObjectPtr<GObject> part(orvane_selection_spec_new("part"));
        const ObjectPtr<GObject> stray(orvane_selection_spec_new("stray"));
        const ObjectPtr<GObject> filter(orvane_filter_spec_new(FALSE, nullptr));
        for (GObject *each : {part.get(), stray.get(), filter.get()})
            if (takes)
                g_object_ref(each);
        {
            const ObjectPtr<GObject> whole(orvane_traversal_spec_new(
                nullptr, skema_ozy_folder_get_type(), "p", FALSE, takes, part.get(), nullptr));
            EXPECT_EQ(2u, part->ref_count);
            const ObjectPtr<GObject> none(orvane_filter_spec_new(takes, stray.get(), nullptr));
            EXPECT_EQ(1u, stray->ref_count);
            const ValueArrayPtr set(orvane_filter_spec_set_new(takes, filter.get(), nullptr));
            EXPECT_EQ(2u, filter->ref_count);
            EXPECT_EQ(1u, set->n_values);
        }
        EXPECT_EQ(1u, part->ref_count);
        EXPECT_EQ(1u, filter->ref_count);
    }
}

} // namespace
