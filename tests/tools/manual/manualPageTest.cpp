#include "tools/manual/manualPage.h"

#include <gtest/gtest.h>

#include "tests/support/temporaryFolder.h"

namespace {

/* A program whose descriptions hold what roff would take for its own. */
class ManualPage : public testing::Test {
protected:
    ManualPage() : program("Plays. music", "player") {
        program.add_flag("-q,--quiet", isQuiet, "Say nothing");
        program.add_option("--hidden", hidden)->group("");
        CLI::App *play = program.add_subcommand("play", ".hidden files too; \\n stays");
        CLI::Option *volume = play->add_option("--volume", number, "Loud")
                                  ->capture_default_str()
                                  ->check(CLI::Range(1, 11));
        play->add_option("--mode", mode)->check(CLI::IsMember({"a", "b"}))->needs(volume);
        play->add_option("No", files, "What to play. 'quoted' first")->required();
        play->footer("A remark.\n\nExamples:\n  player play x\n  'y'");
        play->add_subcommand("again", "The same");
    }

    std::string Text(size_t page) const {
        const manual::Book book{.program = "player",
                                .date = "May 1, 2026",
                                .commandPages = true,
                                .exitStatuses = {{"0", "Done."}}};
        return manual::MakePages(program, book).at(page).text;
    }

    CLI::App program;
    bool isQuiet = false;
    std::string hidden, mode;
    std::vector<std::string> files;
    int number = 5;
};

TEST_F(ManualPage, OfTheProgramListsItsCommands) {
    EXPECT_EQ(".\\\" Made by the build from the program's own descriptions.\n"
              ".Dd May 1, 2026\n.Dt PLAYER 1\n.Os\n"
              ".Sh NAME\n.Nm player\n.Nd plays\n"
              ".Sh SYNOPSIS\n.Nm player\n.Op Ar option ...\n.Ar command ...\n"
              ".Sh DESCRIPTION\nPlays.\nmusic.\n"
              ".Pp\nThe options are as follows:\n.Bl -tag -width Ds\n"
              ".It Fl h , Fl -help\nPrint this help message and exit.\n"
              ".It Fl q , Fl -quiet\nSay nothing.\n.El\n"
              ".Sh COMMANDS\n.Bl -tag -width Ds\n"
              ".It Xr player-play 1\n\\&.hidden files too; \\en stays.\n.El\n"
              ".Sh EXIT STATUS\n.Bl -tag -width Ds\n.It Er \\&0\nDone.\n.El\n"
              ".Sh SEE ALSO\n.Xr player-play 1\n",
              Text(0));
}

TEST_F(ManualPage, OfACommandHasArgumentsExamplesAndWhatIsBelowIt) {
    EXPECT_EQ(".\\\" Made by the build from the program's own descriptions.\n"
              ".Dd May 1, 2026\n.Dt PLAYER-PLAY 1\n.Os\n"
              ".Sh NAME\n.Nm player-play\n.Nd \\&.hidden files too\n"
              ".Sh SYNOPSIS\n.Nm player\n.Cm play\n.Op Ar option ...\n.Ar command ...\n"
              ".Ar \\&No ...\n"
              ".Sh DESCRIPTION\n\\&.hidden files too; \\en stays.\n.Pp\nA remark.\n"
              ".Pp\nThe arguments are as follows:\n.Bl -tag -width Ds\n"
              ".It Ar \\&No\nWhat to play.\n\\&'quoted' first.\nRequired.\n.El\n"
              ".Pp\nThe options are as follows:\n.Bl -tag -width Ds\n"
              ".It Fl -volume Ar \\&INT\nLoud.\nFrom 1 to 11.\nThe default is 5.\n"
              ".It Fl -mode Ar \\&TEXT\nOne of a, b.\nOnly with --volume.\n.El\n"
              ".Pp\nThe options of\n.Xr player 1\ncan follow the command, too.\n"
              ".Sh COMMANDS\n.Ss \"\\&play again\"\nThe same.\n"
              ".Sh EXAMPLES\n.Bd -literal -offset indent\nplayer play x\n\\&'y'\n.Ed\n"
              ".Sh SEE ALSO\n.Xr player 1\n",
              Text(1));
}

TEST_F(ManualPage, IsWrittenToAFolderOrSaysThatItCannotBe) {
    const TemporaryFolder folder;
    manual::WritePages({{"a.1", "text\n"}}, folder.Path() + "/man");
    EXPECT_EQ("text\n", folder.Read("man/a.1"));
    EXPECT_THROW(manual::WritePages({{"a.1", ""}}, "/dev/null"), std::runtime_error);
    EXPECT_THROW(manual::WritePages({{"full", "text"}}, "/dev"), std::runtime_error);
}

} // namespace
