// The session as an object: states, properties, roles, versions.
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "tests/ozy/lib/orvane/updates/updateTexts.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Session : SessionTest {
    ObjectPtr<GObject> Property(const char *name) const {
        GObject *object = nullptr;
        g_object_get(session, name, &object, nullptr);
        return ObjectPtr<GObject>(object);
    }
    /* A folder on which the user has these roles. */
    SkemaQormManagedObject *FolderWithRoles(const std::vector<int> &roleIds) {
        SkemaQormManagedObject *folder =
            orvane_session_get_object(session, "group-d1", SKEMA_TYPE_OZY_FOLDER);
        GValueArray *roles = g_value_array_new(0);
        for (int roleId : roleIds) {
            GValue value = G_VALUE_INIT;
            g_value_init(&value, G_TYPE_INT);
            g_value_set_int(&value, roleId);
            g_value_array_append(roles, &value);
        }
        g_object_set(folder, "effectiveRole", roles, nullptr);
        g_value_array_free(roles);
        return folder;
    }
};

TEST_F(Session, IsDisconnectedWhenNew) {
    EXPECT_EQ(ORVANE_SESSION_DISCONNECTED, State());
    EXPECT_EQ(nullptr, orvane_session_get_version(session));
    EXPECT_EQ(nullptr, orvane_session_get_namespace(session));
    EXPECT_EQ(nullptr, orvane_session_get_all_versions(session));
    EXPECT_FALSE(orvane_session_has_version(session, ""));
    EXPECT_EQ(nullptr, orvane_session_get_momgr(session));
    EXPECT_EQ(nullptr, Property("serviceInstance"));
    EXPECT_FALSE(orvane_session_target_is_ferry(session));
    EXPECT_EQ("failure", Disconnect());
    EXPECT_THAT(states, IsEmpty());
}

TEST_F(Session, KnowsWhatItsVersionIncludes) {
    ASSERT_EQ("success", Connect());
    const std::pair<const char *, bool> rows[] = {
        {"", true},           {"ozy25/6.0", true},   {"ozy25/4.1", true}, {"ozy2/2.0", true},
        {"ferry/1.0", false}, {"ozy25/dev2", false}, {"ozy25", false},
    };
    for (const auto &[version, has] : rows)
        EXPECT_EQ(has, orvane_session_has_version(session, version)) << version;
    EXPECT_EQ(12u, orvane_session_get_all_versions(session)->len);
}

TEST_F(Session, LoadsTheRolesOfItsUser) {
    int numChanges = 0;
    g_signal_connect_swapped(session, "roles-changed", G_CALLBACK(+[](int *count) { ++*count; }),
                             &numChanges);
    ASSERT_EQ("success", Connect());
    EXPECT_EQ(1, numChanges);
    SkemaQormManagedObject *folder = FolderWithRoles({5, -1});
    EXPECT_TRUE(orvane_session_query_privilege(session, folder, "Folder.Create"));
    EXPECT_TRUE(orvane_session_query_privilege(session, folder, "Folder.Rename"));
    EXPECT_FALSE(orvane_session_query_privilege(session, folder, "Folder.Move"));
    EXPECT_FALSE(orvane_session_query_privilege(session, FolderWithRoles({5}), "Folder.Create"));
    EXPECT_FALSE(orvane_session_query_privilege(session, FolderWithRoles({}), "Folder.Create"));

    service->Update(Object("modify", "AuthorizationManager", "AuthorizationManager",
                           Change("assign", "roleList")));
    testLoop::Settle();
    EXPECT_EQ(2, numChanges) << "also for none at all";
    EXPECT_FALSE(orvane_session_query_privilege(session, FolderWithRoles({-1}), "Folder.Create"));
}

TEST_F(Session, ShowsWhatItIsConnectedTo) {
    ASSERT_EQ("success", Connect());
    EXPECT_STREQ("SkemaOzyServiceInstance", G_OBJECT_TYPE_NAME(Property("serviceInstance").get()));
    EXPECT_STREQ("SkemaOzyServiceInstanceContent",
                 G_OBJECT_TYPE_NAME(Property("serviceInstanceContent").get()));
    EXPECT_STREQ("AuthorizationManager", orvane_session_get_authorization_manager(session)->id);
    ASSERT_EQ("success", Disconnect());
    EXPECT_THAT(states, ElementsAre(2, 4, 8, 1));
    EXPECT_EQ(nullptr, Property("serviceInstance"));
    EXPECT_EQ(nullptr, Property("serviceInstanceContent"));
    EXPECT_EQ(nullptr, orvane_session_get_authorization_manager(session));
    EXPECT_EQ(nullptr, orvane_session_get_version(session));
}

TEST_F(Session, IsInterruptedWhenTheServiceIsGone) {
    ASSERT_EQ("success", Connect());
    orvane_session_set_interrupted(session);
    EXPECT_EQ(16, State());
    gint property = 0;
    g_object_get(session, "state", &property, nullptr);
    EXPECT_EQ(16, property);
    EXPECT_EQ("success", Disconnect()) << "a logout is sent all the same";
    EXPECT_EQ(1u, service->Count("Logout"));
}

TEST_F(Session, IsDisconnectedByAFailedLogoutToo) {
    const std::pair<CannedAnswer, const char *> rows[] = {
        {Fault("NotAuthenticated"), "failure NotAuthenticated"},
        {HttpReply("<html/>", 503), "failure Unexpected"},
        {{.bytes = "", .reset = true}, "failure InvalidResponse 48 0"},
    };
    for (const auto &[answer, text] : rows) {
        ASSERT_EQ("success", Connect());
        service->answers["Logout"] = answer;
        EXPECT_EQ(text, Disconnect());
        EXPECT_EQ(ORVANE_SESSION_DISCONNECTED, State());
    }
}

TEST_F(Session, IsDisconnectedAtOnceIfTheLogoutCannotBeSent) {
    ASSERT_EQ("success", Connect());
    orvane_shutdown();
    EXPECT_EQ("failure Unexpected", Disconnect());
    EXPECT_EQ(ORVANE_SESSION_DISCONNECTED, State());
    orvane_init(testLoop::Callback, testLoop::CallbackRemove);
    EXPECT_EQ("success", Connect());
}

TEST_F(Session, LoadsOnlyWhileConnected) {
    ASSERT_EQ("success", Connect());
    ObjectPtr<SkemaQormManagedObject> folder(SKEMA_QORM_MANAGED_OBJECT(
        g_object_ref_sink(orvane_session_get_object(session, "f", SKEMA_TYPE_OZY_FOLDER))));
    ASSERT_EQ("success", Disconnect());
    Ending ending;
    orvane_session_load_object(session, FALSE, folder.get(), ending.listener);
    EXPECT_EQ("failure", ending.text);
}

/* A wrong type is refused with a warning and a neutral result. */
TEST_F(Session, RefusesWhatIsOfAnotherType) {
    const ObjectPtr<GObject> object(G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr)));
    auto *other = reinterpret_cast<OrvaneSession *>(object.get());
    auto *proxy = reinterpret_cast<SkemaQormManagedObject *>(object.get());
    auto *listener = reinterpret_cast<OrvaneListener *>(object.get());
    const ObjectPtr<SkemaQormManagedObject> folder(
        SKEMA_QORM_MANAGED_OBJECT(g_object_ref_sink(g_object_new(SKEMA_TYPE_OZY_FOLDER, nullptr))));
    GValueArray *set = orvane_filter_spec_set_new(TRUE, nullptr);
    const std::function<bool()> calls[] = {
        [&] { return orvane_session_get_state(other) == ORVANE_SESSION_DISCONNECTED; },
        [&] { return orvane_session_get_version(other) == nullptr; },
        [&] { return orvane_session_get_namespace(other) == nullptr; },
        [&] { return orvane_session_get_all_versions(other) == nullptr; },
        [&] { return !orvane_session_has_version(other, ""); },
        [&] { return !orvane_session_has_version(session, nullptr); },
        [&] { return orvane_session_get_authorization_manager(other) == nullptr; },
        [&] { return orvane_session_get_object(other, "x", SKEMA_TYPE_OZY_FOLDER) == nullptr; },
        [&] { return orvane_session_get_object(session, nullptr, 0) == nullptr; },
        [&] { return orvane_session_get_object(session, "x", 0) == nullptr; },
        [&] { return !orvane_session_query_privilege(other, folder.get(), "x"); },
        [&] { return !orvane_session_query_privilege(session, proxy, "x"); },
        [&] { return !orvane_session_query_privilege(session, folder.get(), nullptr); },
        [&] { return !orvane_session_target_is_ferry(other); },
        [&] { return orvane_session_load_object(other, FALSE, folder.get(), nullptr), true; },
        [&] { return orvane_session_load_object(session, FALSE, proxy, nullptr), true; },
        [&] { return orvane_session_load_object(session, FALSE, folder.get(), listener), true; },
        [&] { return orvane_session_unload_object(other, folder.get(), FALSE), true; },
        [&] { return orvane_session_unload_object(session, proxy, FALSE), true; },
        [&] { return orvane_session_unload_object(session, folder.get(), FALSE), true; },
        [&] { return orvane_session_retrieve_contents(other, set, nullptr), true; },
        [&] { return orvane_session_retrieve_contents(session, nullptr, nullptr), true; },
        [&] { return orvane_session_retrieve_contents(session, set, listener), true; },
        [&] {
            return orvane_session_load_properties(session, proxy, nullptr, TRUE, nullptr), true;
        },
        [&] { return orvane_session_set_useragent(other, "x"), true; },
        [&] { return orvane_session_set_use_fresh_connection(other, TRUE), true; },
        [&] { return orvane_session_set_bandwidth_limit(other, 1, 1), true; },
        [&] { return orvane_session_set_ssl_certificate_location(other, "x", "x"), true; },
        [&] { return orvane_session_set_verify_certificate_func(other, nullptr, nullptr), true; },
        [&] { return orvane_session_set_strict_tls(other, TRUE), true; },
        [&] { return orvane_session_target_ferry(other), true; },
        [&] { return orvane_session_connect(other, "x", "u", "p", nullptr), true; },
        [&] { return orvane_session_connect(session, "x", "u", "p", listener), true; },
        [&] { return orvane_session_disconnect(other, nullptr), true; },
        [&] { return orvane_session_disconnect(session, listener), true; },
        [&] { return orvane_session_cancel_listener(other, nullptr), true; },
        [&] { return orvane_session_cancel_listener(session, listener), true; },
        [&] { return orvane_listener_get_state(listener) == ORVANE_LISTENER_UNUSED; },
        [&] { return orvane_listener_get_operation_count(listener) == 0; },
        [&] { return !orvane_listener_is_task(listener); },
        [&] { return orvane_listener_get_progress(listener) == G_MININT32; },
        [&] { return !orvane_listener_is_cancellable(listener); },
        [&] { return !orvane_listener_cancel(listener); },
        [&] { return orvane_listener_get_fault(listener) == nullptr; },
        [&] { return !orvane_listener_get_result(listener, nullptr); },
    };
    for (const auto &call : calls) {
        SCOPED_TRACE(&call - calls);
        g_test_expect_message(nullptr, G_LOG_LEVEL_CRITICAL, "*failed");
        EXPECT_TRUE(call());
        g_test_assert_expected_messages();
    }
    g_value_array_free(set);
    EXPECT_EQ(1u, object->ref_count);
    EXPECT_THAT(states, IsEmpty());
}

TEST_F(Session, AllowsAnythingInAHandlerOfItsState) {
    const std::pair<const char *, std::function<void()>> rows[] = {
        {"disconnect", [&] { orvane_session_disconnect(session, nullptr); }},
        {"connect", [&] { orvane_session_connect(session, Url().c_str(), "u", "p", nullptr); }},
        {"drop", [&] { g_clear_object(&session); }},
        {"shut down", [&] { orvane_shutdown(); }},
    };
    for (const int state : {2, 4, 8, 1}) {
        for (const auto &[name, action] : rows) {
            SCOPED_TRACE(std::string(name) + " at " + std::to_string(state));
            StartOver();
            bool isFirst = true;
            onState = [&, &act = action](int now) {
                if (now == state && std::exchange(isFirst, false))
                    act();
            };
            Ending connected;
            orvane_session_connect(session, Url().c_str(), "u", "p", connected.listener);
            Wait(connected);
            EXPECT_LE(connected.times, 1);
            if (session != nullptr && BasicHttp_IsInited() && State() == ORVANE_SESSION_CONNECTED) {
                Ending disconnected;
                orvane_session_disconnect(session, disconnected.listener);
                Wait(disconnected);
                EXPECT_LE(disconnected.times, 1);
            }
            onState = nullptr;
        }
    }
}

} // namespace
