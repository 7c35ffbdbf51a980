// https, with certificates made at start.
#include "tests/tools/simulator/soapClient.h"
#include "tools/certificates/certificateKind.h"

using simulator::Options;
using simulator::Simulator;

namespace {

Options Secured(const std::string &kind = "self-signed") {
    return {.machines = 1, .certificateKind = kind};
}

struct Tls : SimulatorTest {
    Tls() : SimulatorTest(Secured()) {}
};

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
    EXPECT_THROW(Simulator(Secured("excellent")), std::runtime_error);
}

} // namespace
