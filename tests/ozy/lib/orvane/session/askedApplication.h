/*
 * askedApplication.h -- an application that is asked about certificates
 *
 *   Application application;
 *   application.Watch(session);
 *   application.answer = Answer::Later;
 *   ... run the loop until it was asked ...
 *   application.Decide(true);
 */
#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <orvane/orvane.h>
#include <ssl/ssl.h>

enum class Answer { Yes, No, Later };

/* The application's side: answers in one way, but at once what it has accepted before. */
struct Application {
    Answer answer = Answer::Yes;
    std::set<std::string> accepted; /* thumbprints */
    std::vector<std::string> asked;
    std::function<void()> inside; /* called while it is asked */
    GObject *open = nullptr;      /* a question that waits for its answer */
    OrvaneVerifyCertificateDoneFunc done = nullptr;

    void Watch(OrvaneSession *session) {
        orvane_session_set_verify_certificate_func(session, Ask, this);
    }
    static gint Ask(GObject *context, gpointer, gpointer certificate, gpointer data,
                    OrvaneVerifyCertificateDoneFunc done) {
        auto *self = static_cast<Application *>(data);
        char thumbprint[SSL_THUMBPRINT_SIZE];
        EXPECT_TRUE(
            SSL_GetCertThumbprint(static_cast<X509 *>(certificate), thumbprint, sizeof thumbprint));
        self->asked.push_back(thumbprint);
        if (self->inside)
            self->inside();
        if (self->accepted.contains(thumbprint) || self->answer == Answer::Yes)
            done(context, TRUE);
        else if (self->answer == Answer::No)
            done(context, FALSE);
        else {
            self->open = context;
            self->done = done;
        }
        return 0;
    }
    void Decide(bool accepts) {
        ASSERT_NE(nullptr, open);
        if (accepts)
            accepted.insert(asked.back());
        done(std::exchange(open, nullptr), accepts);
    }
};
