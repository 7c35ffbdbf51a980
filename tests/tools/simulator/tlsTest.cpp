// https, with certificates made at start.
#include <gtest/gtest.h>

#include "tests/tools/simulator/soapClient.h"
#include "tools/certificates/certificateKind.h"

using simulator::Options;
using simulator::Simulator;

namespace {

Options Secured(const std::string &kind = "self-signed") {
    return {.machines = 1, .certificateKind = kind};
}

/* Returns the server's certificate without checking it; empty if there is none. */
std::string SeenCertificate(const std::string &url) {
    CURL *handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, (url + "/ozyServiceVersions.xml").c_str());
    curl_easy_setopt(handle, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(handle, CURLOPT_NOBODY, 1L);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, 20000L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(handle, CURLOPT_SSL_CIPHER_LIST, "ALL:@SECLEVEL=0");
    curl_easy_setopt(handle, CURLOPT_CERTINFO, 1L);
    curl_certinfo *seen = nullptr;
    std::string pem;
    if (curl_easy_perform(handle) == CURLE_OK &&
        curl_easy_getinfo(handle, CURLINFO_CERTINFO, &seen) == CURLE_OK && seen->num_of_certs > 0)
        for (const curl_slist *line = seen->certinfo[0]; line != nullptr; line = line->next)
            if (const std::string text = line->data; text.starts_with("Cert:"))
                pem = text.substr(5);
    curl_easy_cleanup(handle);
    return pem;
}

struct Tls : SimulatorTest {
    Tls() : SimulatorTest(Secured()) {}
};

TEST_F(Tls, CallsAndLongPollsGoOverHttps) {
    EXPECT_TRUE(server.Url().starts_with("https://"));
    EXPECT_EQ(200, client.Login().status);
    auto waiting = Wait([&] { return client.Collect("WaitForUpdates"); });
    server.ExpireSessions();
    EXPECT_EQ("NotAuthenticated", waiting.get().Fault());
}

TEST(Certificates, OfEveryKindArePresented) {
    for (const certificates::KindRow &row : certificates::Kinds()) {
        Simulator server(Secured(row.name));
        server.RunInThread();
        const bool isTooLarge = std::string(row.name) == "large";
        EXPECT_EQ(isTooLarge ? "" : server.Certificate()->Leaf().pem, SeenCertificate(server.Url()))
            << row.name;
    }
    EXPECT_THROW(Simulator(Secured("excellent")), std::runtime_error);
}

TEST_F(Tls, PlainHttpGetsNoAnswer) {
    SoapClient plain("http" + server.Url().substr(5));
    EXPECT_NE(CURLE_OK, plain.Login().error);
    EXPECT_EQ(200, client.Login().status) << "it lives on";
}

TEST(Certificates, AreAlsoTakenAsText) {
    const auto made = certificates::MakeKind("good");
    Options options = Secured("");
    options.privateKey = made->KeyPem();
    for (const auto &[text, isGood] : {std::pair(made->Pem(), true), {"none", false}}) {
        options.certificate = text;
        Simulator server(options);
        if (isGood)
            EXPECT_NO_THROW(server.Start());
        else
            EXPECT_THROW(server.Start(), std::runtime_error);
    }
}

} // namespace
