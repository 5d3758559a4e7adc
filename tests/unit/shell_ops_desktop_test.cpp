// The user's own file-manager command: how it is split and where the path
// goes. Starting it, and everything that talks to the desktop, is exercised
// on a private bus by tests/dbus.

#include "shell_ops.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using shell_ops::command_argv;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(ShellOpsDesktop, ACommandIsSplitAndThePathTakesThePlaceOfPercentS) {
    EXPECT_THAT(command_argv("nautilus --select %s", "/home/u/a"),
                ElementsAre("nautilus", "--select", "/home/u/a"));
}

TEST(ShellOpsDesktop, APathWithBlanksStaysOneArgument) {
    EXPECT_THAT(command_argv("fm --select %s", "/home/u/my project/build dir"),
                ElementsAre("fm", "--select", "/home/u/my project/build dir"));
}

TEST(ShellOpsDesktop, QuotesAndShellCharactersInThePathAreTakenLiterally) {
    EXPECT_THAT(command_argv("fm %s", "/tmp/it's \"x\" $HOME `id` *;|"),
                ElementsAre("fm", "/tmp/it's \"x\" $HOME `id` *;|"));
}

TEST(ShellOpsDesktop, EveryPercentSIsReplacedInEveryArgument) {
    EXPECT_THAT(command_argv("fm --root=%s %s:%s", "/p"), ElementsAre("fm", "--root=/p", "/p:/p"));
}

TEST(ShellOpsDesktop, APercentSInsideThePathIsNotReplacedAgain) {
    EXPECT_THAT(command_argv("fm %s", "/tmp/100%s done"), ElementsAre("fm", "/tmp/100%s done"));
}

TEST(ShellOpsDesktop, ACommandWithoutPercentSGetsNoPath) {
    EXPECT_THAT(command_argv("fm --new-window", "/p"), ElementsAre("fm", "--new-window"));
}

TEST(ShellOpsDesktop, TheCommandsOwnQuotingIsHonoured) {
    EXPECT_THAT(command_argv("'/opt/my fm/bin/fm' --select '%s'", "/a b"),
                ElementsAre("/opt/my fm/bin/fm", "--select", "/a b"));
    EXPECT_THAT(command_argv("fm 'pre fix %s'", "/p"), ElementsAre("fm", "pre fix /p"));
}

TEST(ShellOpsDesktop, ACommandThatCannotBeSplitGivesNothing) {
    EXPECT_THAT(command_argv("fm 'unclosed %s", "/p"), IsEmpty());
    EXPECT_THAT(command_argv("", "/p"), IsEmpty());
    EXPECT_THAT(command_argv("   \t ", "/p"), IsEmpty());
}

TEST(ShellOpsDesktop, BytesThatAreNotUtf8PassUnchanged) {
    const std::string path = "/tmp/caf\xc3\xa9/\xff\xfe raw";
    EXPECT_THAT(command_argv("fm %s", path), ElementsAre("fm", path));
}
