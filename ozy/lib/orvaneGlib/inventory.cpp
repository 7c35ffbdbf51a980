// An inventory: a filter on the service, through a view if it has a view manager, and the list of what it matches.
#include <orvane/inventory.h>

#include <string>
#include <utility>
#include <vector>

#include <orvane/filter.h>
#include <orvane/operation.h>
#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvaneGlib/inventoryList.h"
#include "ozy/lib/orvaneGlib/inventorySpec.h"

namespace {

using Proxy = SkemaQormManagedObject;
using ProxyPtr = ObjectPtr<Proxy>;

/* What the functions of a filter get: the filter may end after the list. */
struct Link {
    OrvaneInventory *inventory; /* NULL once the list does not follow the filter any more */
};

/* The state of a list. */
struct Inventory {
    OrvaneSession *session = nullptr; /* a weak pointer */
    gulong stateHandler = 0;
    GType type = 0;
    std::vector<std::string> properties;
    ProxyPtr wantedRoot; /* NULL for the service's root folder */
    ProxyPtr root;       /* in use */
    ProxyPtr view;       /* NULL without a view manager */
    guint filter = 0;
    Link *link = nullptr; /* of the filter, which owns it */
    guint generation = 0; /* a reply to an earlier start is ignored */
    bool isReady = false;
    bool isDisposed = false;
    GError *error = nullptr;

    InventoryList list;
};

} // namespace

struct _OrvaneInventory {
    GObject parent;
    Inventory *state;
};

namespace {

enum { PROP_N_ITEMS = 1, PROP_IS_READY, PROP_ROOT, PROP_ERROR, NUM_PROPERTIES };
enum { SIGNAL_OBJECT_CHANGED, SIGNAL_READY, NUM_SIGNALS };

/* Filled once, when the class is made. */
constinit GParamSpec *gProperties[NUM_PROPERTIES] = {};
constinit guint gSignals[NUM_SIGNALS] = {};

void Notify(OrvaneInventory *inventory, guint property) {
    g_object_notify_by_pspec(G_OBJECT(inventory), gProperties[property]);
}

void Show(OrvaneInventory *inventory) {
    inventory->state->list.Show(G_LIST_MODEL(inventory), gProperties[PROP_N_ITEMS]);
}

void SetReady(OrvaneInventory *inventory, bool isReady) {
    if (std::exchange(inventory->state->isReady, isReady) == isReady)
        return;
    Notify(inventory, PROP_IS_READY);
    if (isReady && !inventory->state->isDisposed && inventory->state->isReady)
        g_signal_emit(inventory, gSignals[SIGNAL_READY], 0);
}

/* Takes over the error; NULL clears it. */
void SetError(OrvaneInventory *inventory, GError *error) {
    GError *former = std::exchange(inventory->state->error, error);
    const bool isSame = former == error;
    g_clear_error(&former);
    if (!isSame)
        Notify(inventory, PROP_ERROR);
}

/* -- the filter ---------------------------------------------------------------------------------- */

OrvaneInventory *Of(gpointer data) {
    return static_cast<Link *>(data)->inventory;
}

/* The list does not follow its filter any more. Returns the filter; 0 for none. */
guint Unlink(Inventory *state) {
    if (state->link != nullptr)
        state->link->inventory = nullptr;
    state->link = nullptr;
    return std::exchange(state->filter, 0);
}

/* Destroys the view of a connection that exists. */
void DestroyView(Inventory *state) {
    const ProxyPtr view = std::exchange(state->view, nullptr);
    if (view && state->session != nullptr &&
        orvane_session_get_state(state->session) == ORVANE_SESSION_CONNECTED)
        skema_ozy_view_destroy(SKEMA_OZY_VIEW(view.get()), nullptr);
}

void OnFilterCreated(SkemaQormMethodFault *fault, gpointer data) {
    if (fault == nullptr || Of(data) == nullptr)
        return;
    const ObjectPtr<OrvaneInventory> hold(ORVANE_INVENTORY(g_object_ref(Of(data))));
    Unlink(hold->state);
    DestroyView(hold->state);
    const GPtr<char> text(orvane_fault_describe(fault));
    SetError(hold.get(), g_error_new_literal(ORVANE_ERROR, ORVANE_OUTCOME_FAULT, text.get()));
}

void OnEntered(Proxy *object, gpointer data) {
    if (Of(data) == nullptr)
        return;
    Inventory *state = Of(data)->state;
    /* the root itself is matched if it is of the class */
    if (g_type_is_a(G_OBJECT_TYPE(object), state->type) && object != state->root.get())
        state->list.Arrive(object);
}

void OnChanged(Proxy *object, const char *path, gpointer data) {
    OrvaneInventory *inventory = Of(data);
    guint place = 0;
    if (inventory == nullptr || !inventory->state->list.Find(object, &place))
        return;
    /* the emission holds a reference */
    g_signal_emit(inventory, gSignals[SIGNAL_OBJECT_CHANGED], 0, object, path);
}

void OnLeft(Proxy *object, gpointer data) {
    if (Of(data) != nullptr)
        Of(data)->state->list.Depart(object);
}

void OnFinished(gboolean isWhole, gpointer data) {
    if (Of(data) == nullptr)
        return;
    const ObjectPtr<OrvaneInventory> hold(ORVANE_INVENTORY(g_object_ref(Of(data))));
    if (isWhole)
        hold->state->list.DropMissing();
    Show(hold.get());
    if (isWhole && Of(data) != nullptr) /* a handler may have begun to follow another root */
        SetReady(hold.get(), true);
}

/* The list stays for the next connection. */
void OnEnded(gpointer data) {
    if (Of(data) == nullptr)
        return;
    const ObjectPtr<OrvaneInventory> hold(ORVANE_INVENTORY(g_object_ref(Of(data))));
    Unlink(hold->state);
    hold->state->view.reset();
    Show(hold.get());
    SetReady(hold.get(), false);
}

/* All objects enter again. */
void OnRewound(gpointer data) {
    if (Of(data) == nullptr)
        return;
    const ObjectPtr<OrvaneInventory> hold(ORVANE_INVENTORY(g_object_ref(Of(data))));
    hold->state->list.ExpectAll();
    SetReady(hold.get(), false);
}

void Begin(OrvaneInventory *inventory);

/* The service has forgotten the view, too. */
void OnRestarted(gpointer data) {
    if (Of(data) != nullptr)
        Begin(Of(data));
}

constexpr OrvaneFilterFuncs kFilterFunctions = {.created = OnFilterCreated,
                                                .entered = OnEntered,
                                                .changed = OnChanged,
                                                .left = OnLeft,
                                                .finished = OnFinished,
                                                .ended = OnEnded,
                                                .rewound = OnRewound,
                                                .restarted = OnRestarted};

/* Removes filter and view, here and on the service. */
void Stop(Inventory *state) {
    state->generation++;
    const guint filter = Unlink(state);
    if (state->session != nullptr && filter != 0)
        orvane_session_remove_filter(state->session, filter);
    DestroyView(state);
}

void AddFilter(OrvaneInventory *inventory) {
    Inventory *state = inventory->state;
    const ObjectPtr<GObject> spec(
        state->view ? InventorySpec_NewOnView(state->view.get(), state->type, state->properties)
                    : InventorySpec_NewOnRoot(state->session, state->root.get(), state->type,
                                              state->properties));
    auto *link = new Link{inventory};
    state->filter =
        orvane_session_add_filter(state->session, spec.get(), TRUE, &kFilterFunctions, link,
                                  [](gpointer data) { delete static_cast<Link *>(data); });
    state->link = state->filter != 0 ? link : nullptr;
    if (state->filter != 0)
        return;
    DestroyView(state);
    SetError(inventory, g_error_new_literal(ORVANE_ERROR, ORVANE_OUTCOME_NOT_SENT,
                                            "the session follows no updates"));
}

/* A start that waits for its view. */
struct Start {
    GWeakRef inventory;
    guint generation;
};

void FreeStart(gpointer data) {
    auto *start = static_cast<Start *>(data);
    g_weak_ref_clear(&start->inventory);
    delete start;
}

void OnViewCreated(OrvaneListener *listener, OrvaneOutcome outcome, gpointer data) {
    auto *start = static_cast<Start *>(data);
    const ObjectPtr<OrvaneInventory> hold(
        static_cast<OrvaneInventory *>(g_weak_ref_get(&start->inventory)));
    ScopedValue result;
    ProxyPtr view;
    if (outcome == ORVANE_OUTCOME_SUCCEEDED &&
        orvane_listener_get_result(listener, &result.value) &&
        G_VALUE_HOLDS(&result.value, SKEMA_TYPE_OZY_CONTAINER_VIEW) &&
        g_value_get_object(&result.value) != nullptr)
        view.reset(static_cast<Proxy *>(g_object_ref_sink(g_value_get_object(&result.value))));
    if (!hold || hold->state->isDisposed || hold->state->generation != start->generation ||
        hold->state->session == nullptr ||
        orvane_session_get_state(hold->state->session) != ORVANE_SESSION_CONNECTED) {
        if (view) /* nobody waits for it any more */
            skema_ozy_view_destroy(SKEMA_OZY_VIEW(view.get()), nullptr);
        return;
    }
    /* without one, such as after a refusal, the traversal does as well */
    hold->state->view = std::move(view);
    AddFilter(hold.get());
}

void CreateView(OrvaneInventory *inventory, SkemaOzyViewManager *manager) {
    const Inventory *state = inventory->state;
    auto *start = new Start{{}, state->generation};
    g_weak_ref_init(&start->inventory, inventory);
    OrvaneListener *listener = orvane_listener_new();
    orvane_listener_set_completed_func(listener, OnViewCreated, start, FreeStart);
    const ValueArrayPtr types(g_value_array_new(1));
    ScopedValue name(G_TYPE_STRING);
    g_value_set_string(&name.value, InventorySpec_WireName(state->type));
    g_value_array_append(types.get(), &name.value);
    skema_ozy_view_manager_create_container_view(
        manager, SKEMA_OZY_MANAGED_ENTITY(state->root.get()), types.get(), TRUE, listener);
    g_object_unref(listener);
}

/* (nullable): an object that a property of the service's content refers to. */
ProxyPtr OfContent(OrvaneSession *session, const char *property) {
    GObject *content = nullptr;
    Proxy *object = nullptr;
    g_object_get(session, "serviceInstanceContent", &content, nullptr);
    const ObjectPtr<GObject> owner(content);
    if (content == nullptr || !g_object_class_find_property(G_OBJECT_GET_CLASS(content), property))
        return nullptr;
    g_object_get(content, property, &object, nullptr);
    if (object != nullptr && g_object_is_floating(object))
        g_object_ref_sink(object), g_object_unref(object);
    return ProxyPtr(object);
}

/* The proxy of the present connection for one that may be of a former connection. */
ProxyPtr InConnection(OrvaneSession *session, Proxy *object) {
    Proxy *known = object->id != nullptr
                       ? orvane_session_get_object(session, object->id, G_OBJECT_TYPE(object))
                       : nullptr;
    return ProxyPtr(known != nullptr ? static_cast<Proxy *>(g_object_ref_sink(known)) : nullptr);
}

/* Begins to follow the service, which is connected. */
void Begin(OrvaneInventory *inventory) {
    Inventory *state = inventory->state;
    const ObjectPtr<OrvaneInventory> hold(ORVANE_INVENTORY(g_object_ref(inventory)));
    Stop(state);
    const guint generation = state->generation;
    SetReady(inventory, false);
    SetError(inventory, nullptr);
    /* the handlers of these may have begun anew, or have disconnected */
    if (state->isDisposed || state->session == nullptr || state->generation != generation ||
        orvane_session_get_state(state->session) != ORVANE_SESSION_CONNECTED)
        return;
    ProxyPtr root = state->wantedRoot ? InConnection(state->session, state->wantedRoot.get())
                                      : OfContent(state->session, "rootFolder");
    if (!root || !SKEMA_IS_OZY_MANAGED_ENTITY(root.get())) {
        SetError(inventory, g_error_new_literal(ORVANE_ERROR, ORVANE_OUTCOME_FAULT,
                                                "the service has no root folder"));
        return;
    }
    state->root = std::move(root);
    state->list.ExpectAll();
    const ProxyPtr manager = OfContent(state->session, "viewManager");
    if (manager && SKEMA_IS_OZY_VIEW_MANAGER(manager.get()))
        CreateView(inventory, SKEMA_OZY_VIEW_MANAGER(manager.get()));
    else
        AddFilter(inventory);
    Notify(inventory, PROP_ROOT);
}

void OnState(OrvaneSession *session, GParamSpec *, OrvaneInventory *inventory) {
    const OrvaneSessionState state = orvane_session_get_state(session);
    if (state == ORVANE_SESSION_CONNECTED && inventory->state->filter == 0)
        Begin(inventory);
    else if (state != ORVANE_SESSION_CONNECTED)
        SetReady(inventory, false);
}

/* -- the object ----------------------------------------------------------------------------------- */

GType GetItemType(GListModel *model) {
    return ORVANE_INVENTORY(model)->state->type;
}

guint GetNItems(GListModel *model) {
    return guint(ORVANE_INVENTORY(model)->state->list.Items().size());
}

gpointer GetItem(GListModel *model, guint position) {
    const auto &items = ORVANE_INVENTORY(model)->state->list.Items();
    return position < items.size() ? g_object_ref(items[position]) : nullptr;
}

void InitListModel(GListModelInterface *interface, gpointer) {
    interface->get_item_type = GetItemType;
    interface->get_n_items = GetNItems;
    interface->get_item = GetItem;
}

void GetProperty(GObject *object, guint id, GValue *value, GParamSpec *pspec) {
    const Inventory *state = ORVANE_INVENTORY(object)->state;
    switch (id) {
    case PROP_N_ITEMS:
        g_value_set_uint(value, guint(state->list.Items().size()));
        return;
    case PROP_IS_READY:
        g_value_set_boolean(value, state->isReady);
        return;
    case PROP_ROOT:
        g_value_set_object(value, state->root.get());
        return;
    case PROP_ERROR:
        g_value_set_boxed(value, state->error);
        return;
    default:
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
}

void ReleaseSession(Inventory *state) {
    if (state->session == nullptr)
        return;
    g_clear_signal_handler(&state->stateHandler, state->session);
    g_clear_weak_pointer(&state->session);
}

} // namespace

G_DEFINE_TYPE_WITH_CODE(OrvaneInventory, orvane_inventory, G_TYPE_OBJECT,
                        G_IMPLEMENT_INTERFACE(G_TYPE_LIST_MODEL, InitListModel))

static void orvane_inventory_dispose(GObject *object) {
    Inventory *state = ORVANE_INVENTORY(object)->state;
    state->isDisposed = true;
    Stop(state);
    ReleaseSession(state);
    G_OBJECT_CLASS(orvane_inventory_parent_class)->dispose(object);
}

static void orvane_inventory_finalize(GObject *object) {
    Inventory *state = ORVANE_INVENTORY(object)->state;
    g_clear_error(&state->error);
    delete state;
    G_OBJECT_CLASS(orvane_inventory_parent_class)->finalize(object);
}

static void orvane_inventory_init(OrvaneInventory *inventory) {
    inventory->state = new Inventory;
}

static void orvane_inventory_class_init(OrvaneInventoryClass *klass) {
    GObjectClass *object = G_OBJECT_CLASS(klass);
    object->get_property = GetProperty;
    object->dispose = orvane_inventory_dispose;
    object->finalize = orvane_inventory_finalize;

    constexpr auto kReadable = GParamFlags(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS);
    gProperties[PROP_N_ITEMS] = g_param_spec_uint("n-items", "", "", 0, G_MAXUINT, 0, kReadable);
    gProperties[PROP_IS_READY] = g_param_spec_boolean("is-ready", "", "", FALSE, kReadable);
    gProperties[PROP_ROOT] =
        g_param_spec_object("root", "", "", SKEMA_TYPE_QORM_MANAGED_OBJECT, kReadable);
    gProperties[PROP_ERROR] = g_param_spec_boxed("error", "", "", G_TYPE_ERROR, kReadable);
    g_object_class_install_properties(object, NUM_PROPERTIES, gProperties);

    gSignals[SIGNAL_OBJECT_CHANGED] = g_signal_new(
        "object-changed", G_TYPE_FROM_CLASS(klass), G_SIGNAL_RUN_LAST, 0, nullptr, nullptr, nullptr,
        G_TYPE_NONE, 2, SKEMA_TYPE_QORM_MANAGED_OBJECT, G_TYPE_STRING | G_SIGNAL_TYPE_STATIC_SCOPE);
    gSignals[SIGNAL_READY] = g_signal_new("ready", G_TYPE_FROM_CLASS(klass), G_SIGNAL_RUN_LAST, 0,
                                          nullptr, nullptr, nullptr, G_TYPE_NONE, 0);
}

OrvaneInventory *orvane_inventory_new(OrvaneSession *session, GType type,
                                      const char *const *properties) {
    g_return_val_if_fail(ORVANE_IS_SESSION(session), nullptr);
    g_return_val_if_fail(g_type_is_a(type, SKEMA_TYPE_OZY_MANAGED_ENTITY), nullptr);
    auto *inventory = ORVANE_INVENTORY(g_object_new(ORVANE_TYPE_INVENTORY, nullptr));
    Inventory *state = inventory->state;
    state->type = type;
    for (; properties != nullptr && *properties != nullptr; properties++)
        state->properties.emplace_back(*properties);
    g_set_weak_pointer(&state->session, session);
    state->stateHandler =
        g_signal_connect(session, "notify::state", G_CALLBACK(OnState), inventory);
    if (orvane_session_get_state(session) == ORVANE_SESSION_CONNECTED)
        Begin(inventory);
    return inventory;
}

void orvane_inventory_set_root(OrvaneInventory *inventory, SkemaQormManagedObject *root) {
    g_return_if_fail(ORVANE_IS_INVENTORY(inventory));
    g_return_if_fail(root == nullptr || SKEMA_IS_OZY_MANAGED_ENTITY(root));
    Inventory *state = inventory->state;
    state->wantedRoot.reset(root != nullptr ? static_cast<Proxy *>(g_object_ref_sink(root))
                                            : nullptr);
    if (state->session == nullptr)
        return;
    if (orvane_session_get_state(state->session) == ORVANE_SESSION_CONNECTED)
        Begin(inventory);
    else
        Stop(state); /* the next connection begins with the new root */
}

gboolean orvane_inventory_find(OrvaneInventory *inventory, SkemaQormManagedObject *object,
                               guint *position) {
    g_return_val_if_fail(ORVANE_IS_INVENTORY(inventory), FALSE);
    guint place = 0;
    if (!inventory->state->list.Find(object, &place))
        return FALSE;
    if (position != nullptr)
        *position = place;
    return TRUE;
}

gboolean orvane_inventory_is_ready(OrvaneInventory *inventory) {
    g_return_val_if_fail(ORVANE_IS_INVENTORY(inventory), FALSE);
    return inventory->state->isReady;
}

const GError *orvane_inventory_get_error(OrvaneInventory *inventory) {
    g_return_val_if_fail(ORVANE_IS_INVENTORY(inventory), nullptr);
    return inventory->state->error;
}
