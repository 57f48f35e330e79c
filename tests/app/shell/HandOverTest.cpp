// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/shell/HandOverClient.h"
#include "app/shell/HandOverServer.h"
#include "base/SystemError.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <cstring>
#include <future>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace penmark {
namespace {

namespace fs = std::filesystem;
using Outcome = HandOverResult::Outcome;
using namespace std::chrono_literals;

using Reply = std::shared_ptr<HandOverReply>;

class HandOverTest : public testing::Test {
protected:
    HandOverTest()
    {
        qputenv("XDG_RUNTIME_DIR", temporary.path().toUtf8());
        fs::create_directory(library);
    }
    ~HandOverTest() override { qunsetenv("XDG_RUNTIME_DIR"); }

    // Keeps requests and replies, so that tests answer when they like.
    std::unique_ptr<HandOverServer> serve(int patience = 10'000)
    {
        auto server = std::make_unique<HandOverServer>(library, patience);
        QObject::connect(server.get(), &HandOverServer::requested, server.get(),
                         [this](const HandOverRequest& request, const Reply& reply) {
                             requests.push_back(request);
                             replies.push_back(reply);
                         });
        return server;
    }

    std::future<HandOverResult> start(const HandOverRequest& request, HandOverPatience patience = {})
    {
        return std::async(std::launch::async,
                          [this, request, patience] { return handOver(library, request, patience); });
    }

    // Runs the event loop until the client has its result.
    static HandOverResult result(std::future<HandOverResult>& client)
    {
        EXPECT_TRUE(QTest::qWaitFor([&] { return client.wait_for(0s) == std::future_status::ready; }, 20'000));
        return client.get();
    }

    bool waitForRequests(std::size_t count)
    {
        return QTest::qWaitFor([&] { return requests.size() >= count; }, 20'000);
    }

    FileDescriptor connectRaw() const
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = handOverSocket(library);
        std::memcpy(address.sun_path, path.data(), path.size());
        FileDescriptor client(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(connect(client.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        return client;
    }

    // Whether the server has hung up, and what it said before.
    static std::optional<std::string> heardUntilClosed(const FileDescriptor& client, int patience = 5000)
    {
        std::string heard;
        bool isClosed = false;
        const auto read = [&] {
            std::array<char, 4096> bytes{};
            const ssize_t got = recv(client.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
            if (got > 0)
                heard.append(bytes.data(), static_cast<std::size_t>(got));
            isClosed = got == 0 || (got < 0 && errno == ECONNRESET);
            return isClosed;
        };
        return QTest::qWaitFor(read, patience) ? std::optional(heard) : std::nullopt;
    }

    static std::string framed(const std::string& json, std::size_t input = 0)
    {
        return std::string(handover::magic) + handover::encodeLength(json.size()) + handover::encodeLength(input) +
               json;
    }

    QTemporaryDir temporary;
    const fs::path library = fs::path(temporary.path().toStdString()) / "library";
    std::vector<HandOverRequest> requests;
    std::vector<Reply> replies;
};

HandOverRequest exampleRequest()
{
    HandOverRequest request;
    request.version = "1.2";
    request.targets = {{"/tmp/ä \"b\"\n.txt", false, 3, 4}, {"", true, {}, {}}};
    request.workingFolder = "/tmp";
    request.newWindow = true;
    request.newDraft = true;
    request.standardInputTitle = "Title";
    request.activationToken = "token_TIME12";
    request.standardInput = std::string("\xff\0bytes", 7) + std::string(3'000'000, 'x');
    return request;
}

TEST_F(HandOverTest, NobodyRunsUntilTheServerListens)
{
    EXPECT_EQ(handOver(library, {}).outcome, Outcome::notRunning);
    EXPECT_FALSE(fs::exists(handOverSocket(library))) << "asking leaves nothing behind";

    auto client = start({}, {20s, 5s});
    EXPECT_EQ(client.wait_for(100ms), std::future_status::timeout) << "it waits for a start under way";
    auto server = serve();
    ASSERT_TRUE(waitForRequests(1));
    replies[0]->accept();
    EXPECT_EQ(result(client).outcome, Outcome::accepted);
    server.reset();
    EXPECT_EQ(handOver(library, {}).outcome, Outcome::notRunning);
}

TEST_F(HandOverTest, EverythingAskedForArrives)
{
    const auto server = serve();
    const HandOverRequest sent = exampleRequest();
    auto client = start(sent);
    ASSERT_TRUE(waitForRequests(1));
    EXPECT_EQ(encodeRecord(requests[0]), encodeRecord(sent));
    EXPECT_TRUE(requests[0].standardInput == sent.standardInput);
    EXPECT_EQ(requests[0].targets, sent.targets);
    EXPECT_FALSE(replies[0]->isWaitedFor());
    replies[0]->accept();
    const HandOverResult accepted = result(client);
    EXPECT_EQ(accepted.outcome, Outcome::accepted);
    EXPECT_EQ(accepted.exitStatus, 0);
    EXPECT_EQ(accepted.server, getpid());
}

TEST_F(HandOverTest, OneThatIsEndingIsToldFromOneThatRefuses)
{
    auto server = serve();
    for (const bool waits : {false, true}) {
        SCOPED_TRACE(waits);
        HandOverRequest request = exampleRequest();
        request.wait = waits;
        auto client = start(request);
        ASSERT_TRUE(waitForRequests(1));
        replies[0]->turnAway();
        replies[0]->refuse("Something else.", 2);  // too late
        const HandOverResult turnedAway = result(client);
        EXPECT_EQ(turnedAway.outcome, Outcome::ending);
        EXPECT_NE(turnedAway.exitStatus, 0);
        requests.clear();
        replies.clear();
    }
}

TEST_F(HandOverTest, ARefusalCarriesItsSentence)
{
    const auto server = serve();
    auto client = start({});
    ASSERT_TRUE(waitForRequests(1));
    replies[0]->refuse("No “such” file.", 2);
    replies[0]->accept();  // too late
    HandOverResult refused = result(client);
    EXPECT_EQ(refused.outcome, Outcome::refused);
    EXPECT_EQ(refused.exitStatus, 2);
    EXPECT_EQ(refused.sentence, "No “such” file.");

    auto forgotten = start({});
    ASSERT_TRUE(waitForRequests(2));
    replies.clear();
    refused = result(forgotten);
    EXPECT_EQ(refused.outcome, Outcome::refused);
    EXPECT_NE(refused.exitStatus, 0);
    EXPECT_NE(refused.sentence, "");
}

TEST_F(HandOverTest, AWaitEndsWhenTheDocumentsAreClosed)
{
    auto server = serve(1'000);
    HandOverRequest request;
    request.wait = true;
    auto client = start(request, {0ms, 1s});
    ASSERT_TRUE(waitForRequests(1));
    EXPECT_TRUE(replies[0]->isWaitedFor());
    replies[0]->accept();
    QTest::qWait(1'500);  // more than either side's patience with a request
    EXPECT_EQ(client.wait_for(0s), std::future_status::timeout);
    replies[0]->finish(7);
    EXPECT_FALSE(replies[0]->isWaitedFor());
    HandOverResult finished = result(client);
    EXPECT_EQ(finished.outcome, Outcome::accepted);
    EXPECT_EQ(finished.exitStatus, 7);

    // The program ends while somebody waits.
    auto left = start(request);
    ASSERT_TRUE(waitForRequests(2));
    replies[1]->accept();
    server.reset();
    finished = result(left);
    EXPECT_EQ(finished.outcome, Outcome::ended);
    EXPECT_NE(finished.exitStatus, 0);
    EXPECT_NE(finished.sentence, "");
    replies[1]->finish();  // nobody is there; must do no harm
}

TEST_F(HandOverTest, AWaitThatIsGivenUpIsTold)
{
    const auto server = serve();
    HandOverRequest request;
    request.wait = true;
    const pid_t child = fork();
    if (child == 0) {
        handOver(library, request);
        _exit(0);
    }
    ASSERT_TRUE(waitForRequests(1));
    replies[0]->accept();
    QSignalSpy abandoned(replies[0].get(), &HandOverReply::abandoned);
    kill(child, SIGKILL);
    EXPECT_TRUE(abandoned.wait(5000));
    EXPECT_FALSE(replies[0]->isWaitedFor());
    waitpid(child, nullptr, 0);
}

TEST_F(HandOverTest, OnlyTheOwnSocketIsReplacedAndRemoved)
{
    // A socket that a killed program left behind.
    const pid_t child = fork();
    if (child == 0) {
        const HandOverServer killed(library);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    ASSERT_TRUE(fs::exists(handOverSocket(library)));
    EXPECT_EQ(handOver(library, {}).outcome, Outcome::notRunning);
    auto first = serve();
    struct stat found {};
    ASSERT_EQ(stat(handOverSocket(library).parent_path().c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777, 0700u);

    auto second = serve();
    first.reset();
    auto client = start({});
    ASSERT_TRUE(waitForRequests(1)) << "the first one's end must not take the second one's socket away";
    replies[0]->accept();
    EXPECT_EQ(result(client).outcome, Outcome::accepted);
}

TEST_F(HandOverTest, EveryNameOfALibraryLeadsToOneSocket)
{
    const fs::path socket = handOverSocket(library);
    fs::create_directory_symlink(library, library.parent_path() / "link");
    EXPECT_EQ(handOverSocket(library / ""), socket);
    EXPECT_EQ(handOverSocket(library.parent_path() / "link"), socket);
    EXPECT_EQ(handOverSocket(library.parent_path() / "." / "library"), socket);
    EXPECT_NE(handOverSocket(library.parent_path() / "other"), socket);
    const fs::path absent = library.parent_path() / "absent";
    const fs::path before = handOverSocket(absent / "");
    fs::create_directory(absent);
    EXPECT_EQ(handOverSocket(absent), before);

    const std::string fallback = "/tmp/penmark-" + std::to_string(getuid());
    for (const std::string& unusable : {std::string(), std::string("relative"), "/" + std::string(100, 'x')}) {
        qputenv("XDG_RUNTIME_DIR", QByteArray::fromStdString(unusable));
        EXPECT_EQ(handOverSocket(library), fallback / socket.filename());
    }
}

TEST_F(HandOverTest, AFolderOfTheSocketThatIsNotOursIsRefused)
{
    const fs::path folder = handOverSocket(library).parent_path();
    fs::create_directory(library.parent_path() / "elsewhere");
    fs::create_directory_symlink(library.parent_path() / "elsewhere", folder);
    EXPECT_THROW(serve(), SystemError);
    fs::remove(folder);
    fs::create_directory(folder);
    fs::permissions(folder, fs::perms::all);
    EXPECT_NO_THROW(serve());
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
}

// What a hostile client sends, and that the server hangs up; it goes on serving others meanwhile.
TEST_F(HandOverTest, HostileClientsAreDropped)
{
    const auto server = serve(1'500);
    const std::string valid = encodeRecord(HandOverRequest());
    const std::string input(100, 'x');
    const std::pair<const char*, std::string> cases[] = {
        {"nothing", ""},
        {"garbage", std::string(5000, '\x80')},
        {"half a prefix", framed(valid).substr(0, 11)},
        {"half a record", framed(valid).substr(0, 40)},
        {"a record without end", std::string(handover::magic) + std::string(16, '\xff')},
        {"a record of 4 GB",
         std::string(handover::magic) + std::string("\0\0\0\0\xff\xff\xff\xff", 8) + std::string(8, '\0') + input},
        {"an empty record", framed("")},
        {"an input without end", framed(valid, std::numeric_limits<std::size_t>::max()) + input},
        {"half an input", framed(valid, 200) + input},
        {"no JSON", framed("{\"version\":")},
        {"another record", framed("{\"version\":7}")},
    };
    std::vector<FileDescriptor> clients;
    for (const auto& [name, bytes] : cases) {
        clients.push_back(connectRaw());
        if (!bytes.empty())
            clients.back().writeAll(bytes);
    }
    auto honest = start({});
    ASSERT_TRUE(waitForRequests(1));
    replies[0]->accept();
    EXPECT_EQ(result(honest).outcome, Outcome::accepted);
    for (std::size_t i = 0; i < clients.size(); ++i) {
        const auto heard = heardUntilClosed(clients[i]);
        ASSERT_TRUE(heard) << cases[i].first;
        EXPECT_EQ(heard->find("refused") != std::string::npos, i >= std::size(cases) - 2) << cases[i].first;
    }
    EXPECT_EQ(requests.size(), 1u);
    EXPECT_TRUE(server->children().isEmpty() || QTest::qWaitFor([&] { return server->children().isEmpty(); }));
}

TEST_F(HandOverTest, ARequestMayComeByteByByteAndIsDroppedIfItsSenderIsGone)
{
    const auto server = serve(1'500);
    const std::string input = "abcdefgh";
    const std::string bytes = framed(encodeRecord(HandOverRequest()), input.size()) + input;
    const FileDescriptor slow = connectRaw();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        slow.writeAll(std::string_view(bytes).substr(i, 1));
        // Standard input as a whole may take longer than the patience, as long as something comes.
        QTest::qWait(i + input.size() >= bytes.size() ? 250 : 0);
    }
    ASSERT_TRUE(waitForRequests(1));
    EXPECT_EQ(requests[0].standardInput, input);

    FileDescriptor gone = connectRaw();
    gone.writeAll(bytes);
    gone.reset();
    auto after = start({});
    ASSERT_TRUE(waitForRequests(2));
    replies[1]->accept();
    result(after);
    EXPECT_EQ(requests.size(), 2u);
}

TEST_F(HandOverTest, AServerThatDoesNotAnswerIsNamed)
{
    const auto server = serve();
    HandOverRequest request;
    request.standardInput.assign(10'000'000, 'x');  // more than a socket holds
    for (const HandOverRequest& sent : {HandOverRequest(), request}) {
        const HandOverResult silent = handOver(library, sent, {0ms, 100ms});  // the event loop stands still
        EXPECT_EQ(silent.outcome, Outcome::silent);
        EXPECT_EQ(silent.server, getpid());
        EXPECT_EQ(silent.exitStatus, 3);
        EXPECT_NE(silent.sentence.find(std::to_string(getpid())), std::string::npos);
    }
    QTest::qWait(100);
    EXPECT_TRUE(requests.empty()) << "what was given up is not done later";
}

TEST_F(HandOverTest, AHundredClientsAtOnce)
{
    const auto server = serve();
    constexpr std::size_t count = 100;
    std::vector<std::future<HandOverResult>> clients;
    for (std::size_t i = 0; i < count; ++i) {
        HandOverRequest request;
        request.version = std::to_string(i);
        request.standardInput.assign(i * 1000, static_cast<char>('a' + i % 26));
        request.wait = i % 2 == 0;
        clients.push_back(start(request, {0ms, 30s}));
    }
    ASSERT_TRUE(waitForRequests(count));
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t number = std::stoul(requests[i].version);
        EXPECT_EQ(requests[i].standardInput, std::string(number * 1000, static_cast<char>('a' + number % 26)));
        replies[i]->accept();
        replies[i]->finish(static_cast<int>(number));
    }
    for (std::size_t i = 0; i < count; ++i) {
        const HandOverResult finished = result(clients[i]);
        EXPECT_EQ(finished.outcome, Outcome::accepted);
        EXPECT_EQ(finished.exitStatus, i % 2 == 0 ? static_cast<int>(i) : 0);
    }
}

}  // namespace
}  // namespace penmark
