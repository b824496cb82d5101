// One exchange through the emulated host: validation order and messages, the retry rules,
// status checking, id wrap-around, and responses that are short, long or lie about their size.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <deque>
#include <stdexcept>
#include <tuple>

#include "support/SimTest.h"
#include "vendorcommand/Protocol.h"

using namespace libvxsensor::protocol;
using vxsim::Reply;
using vxsim::wire::Request;
using Answer = std::function<Reply(const Request&, uint32_t capacity)>;

class ExecuteTest : public SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        script(camera, [this](const std::vector<uint8_t>& bytes, uint32_t capacity) {
            const auto parsed = vxsim::wire::parseRequest(bytes);
            if (!parsed) return Reply::transportFailure("not a request");
            if (answers.empty()) return vxsim::wire::okReply(*parsed, std::vector<uint8_t>(20, 0));
            Answer next = answers.front();
            answers.pop_front();
            return next(*parsed, capacity);
        });
    }

    // Builds a get-property request, executes it, and returns the status.
    HpStatus run() {
        initGetPropertyReq(request.data(), 42);
        return execute(camera.handle(), request.data(), 12, response.data(), &responseLength);
    }

    static Answer raw(std::vector<uint8_t> bytes) {
        return [bytes](const Request&, uint32_t) { return reply(bytes); };
    }
    static Answer status(uint16_t word, std::string text = {}) {
        return [word, text](const Request& r, uint32_t) {
            return vxsim::wire::statusReply(r, word, text);
        };
    }
    // A good property answer, altered by `edit` on the way.
    static Answer altered(std::function<void(std::vector<uint8_t>&)> edit,
                          std::optional<uint32_t> reported = {}, uint16_t opcode = 1) {
        return [edit, reported, opcode](const Request& r, uint32_t capacity) {
            auto bytes =
                vxsim::wire::makeResponse(opcode, r.requestId, 0, std::vector<uint8_t>(20, 0));
            edit(bytes);
            if (!reported) return reply(bytes);
            return reply(bytes, capacity + *reported);
        };
    }
    // An answer carrying the id of the request before this one.
    static Answer stale() {
        return [](const Request& r, uint32_t) {
            return reply(vxsim::wire::makeResponse(r.opcode, static_cast<uint16_t>(r.requestId - 1),
                                                   0, std::vector<uint8_t>(20, 0)));
        };
    }

    vxsim::Device camera{{0x3A6E, 0x0840, "USB3.0", "1.7.16", {}}};
    std::deque<Answer> answers;
    std::vector<uint8_t> request = std::vector<uint8_t>(1024, 0);
    std::vector<uint8_t> response = std::vector<uint8_t>(1024, 0);
    uint16_t responseLength = 0;
};

// Size before magic, magic before opcode; device status words become their status codes. None of
// these is retried.
TEST_F(ExecuteTest, EachAnswerBecomesItsStatus) {
    const auto none = [](std::vector<uint8_t>&) {};
    const std::tuple<const char*, Answer, HpStatusCode, uint32_t, std::string> cases[] = {
        {"valid", altered(none), HP_STATUS_OK, 0, ""},
        {"9 bytes", raw(std::vector<uint8_t>(9, 0xFF)), HP_STATUS_DEVICE_RESPONSE_WRONG_DATA_SIZE,
         0xFFFF, "Device response with wrong data size"},
        {"bad magic and opcode",
         altered([](std::vector<uint8_t>& b) { b[0] = 0x34, b[1] = 0x12; }, {}, 2),
         HP_STATUS_DEVICE_RESPONSE_BAD_MAGIC, 0xFFFF,
         "Device response with bad magic , magic=0x1234, expectOpCode=0x4252"},
        {"opcode", altered(none, {}, 7), HP_STATUS_DEVICE_RESPONSE_OPCODE_MISMATCH, 0xFFFF,
         "Device response with inconsistent opcode, opcode=7, expectedOpcode=1"},
        {"declares a byte more than sent", altered([](std::vector<uint8_t>& b) { b.pop_back(); }),
         HP_STATUS_DEVICE_RESPONSE_WRONG_DATA_SIZE, 0xFFFF, "Device response with wrong data size"},
        {"error", status(0x0001, "flash busy"), HP_STATUS_DEVICE_RESPONSE_ERROR, 1, "flash busy"},
        {"error without text", status(0x0002), HP_STATUS_DEVICE_RESPONSE_ERROR, 2, ""},
        {"warning", status(0x8001, "low voltage"), HP_STATUS_DEVICE_RESPONSE_WARNING, 0x8001,
         "low voltage"},
        {"unknown", status(0xFFFF, "ignored"), HP_STATUS_DEVICE_RESPONSE_ERROR_UNKNOWN, 0xFFFF,
         "Device response with unknown error"},
        {"transport", [](const Request&, uint32_t) { return Reply::transportFailure("pulled"); },
         HP_STATUS_TRANSFER_FAILED, 0xFFFF, "Send and receive data transfer failed!"},
        {"host throws",
         [](const Request&, uint32_t) {
             Reply r;
             r.hostThrows = true;
             return r;
         },
         HP_STATUS_TRANSFER_FAILED, 0xFFFF, "Send and receive data transfer failed!"},
        // Found by fuzzing: a lying length was once handed on.
        {"length beyond the buffer", altered(none, 4000), HP_STATUS_DEVICE_RESPONSE_WRONG_DATA_SIZE,
         0xFFFF, "Device response with wrong data size"},
    };
    for (const auto& [what, answer, code, deviceCode, msg] : cases) {
        SCOPED_TRACE(what);
        camera.clearExchanges();
        answers = {answer};
        const HpStatus s = run();
        EXPECT_EQ(s.statusCode, code);
        EXPECT_EQ(s.respErrorCode, deviceCode);
        EXPECT_EQ(s.msg, msg);
        if (code == HP_STATUS_OK) {
            EXPECT_EQ(responseLength, 30);
        }
        ASSERT_EQ(camera.exchanges().size(), 1u);
        EXPECT_EQ(camera.exchanges()[0].capacity, 64u);
    }
    answers = {altered(none, 4000)};
    run();
    EXPECT_EQ(responseLength, 0) << "a lying length is not handed on";
}

TEST_F(ExecuteTest, StaleAnswerIsRetriedOnceWithTheSameRequest) {
    answers = {stale()};
    EXPECT_EQ(run().statusCode, HP_STATUS_OK);
    ASSERT_EQ(camera.exchanges().size(), 2u);
    EXPECT_EQ(camera.exchanges()[0].request, camera.exchanges()[1].request);

    camera.clearExchanges();
    answers = {stale(), stale(), stale()};
    const HpStatus s = run();
    ASSERT_EQ(camera.exchanges().size(), 2u);
    const auto& sent = camera.exchanges().back().request;
    const auto id = static_cast<uint16_t>(sent[6] | (sent[7] << 8));
    EXPECT_EQ(s.statusCode, HP_STATUS_DEVICE_RESPONSE_REQUEST_ID_MISMATCH);
    EXPECT_EQ(s.msg, fmt::format("Device response with inconsistent response requestId, cmdId={}, "
                                 "requestId={}",
                                 static_cast<uint16_t>(id - 1), id));
}

TEST_F(ExecuteTest, StatusThreeIsRetriedOnceAndTheSecondAnswerStands) {
    // A 19-character text makes the busy answer as long as a property answer (30 bytes), so the
    // retry's capacity, which the first answer sets, still fits the real answer.
    answers = {status(3, "not ready, retry me")};
    EXPECT_EQ(run().statusCode, HP_STATUS_OK);
    EXPECT_EQ(camera.exchanges().size(), 2u);

    camera.clearExchanges();
    answers = {status(3, "not ready, retry me"), status(3, "still not ready")};
    const HpStatus s = run();
    EXPECT_EQ(s.statusCode, HP_STATUS_DEVICE_RESPONSE_ERROR);
    EXPECT_EQ(s.respErrorCode, 3u);
    EXPECT_EQ(s.msg, "still not ready");
    EXPECT_EQ(camera.exchanges().size(), 2u);

    // A bare busy answer (10 bytes) leaves 10 bytes of capacity for the retry, which then cuts
    // the 30-byte property answer: the device must answer "busy" at full length to be retried
    // usefully. The capacity is carried over on purpose; this pins it.
    camera.clearExchanges();
    answers = {status(3)};
    EXPECT_EQ(run().statusCode, HP_STATUS_DEVICE_RESPONSE_WRONG_DATA_SIZE);
    ASSERT_EQ(camera.exchanges().size(), 2u);
    EXPECT_EQ(camera.exchanges()[1].capacity, 10u);
}

TEST_F(ExecuteTest, RequestIdsWrapFrom65535ToZero) {
    while (generateRequestId() != 65534) {
    }
    run();  // id 65535
    run();  // id 0
    run();  // id 1
    ASSERT_EQ(camera.exchanges().size(), 3u);
    const auto idOf = [&](size_t i) {
        const auto& r = camera.exchanges()[i].request;
        return r[6] | (r[7] << 8);
    };
    EXPECT_EQ(idOf(0), 65535);
    EXPECT_EQ(idOf(1), 0);
    EXPECT_EQ(idOf(2), 1);
}

class CheckStatusTest : public SimTest {};

// A thrown failure is not also logged; a warning is only ever logged, at warning severity.
TEST_F(CheckStatusTest, OkPassesSilentlyAndFailuresThrowOrAreLogged) {
    EXPECT_TRUE(checkStatus(HpStatus{}, true));
    EXPECT_TRUE(host().logLines().empty());
    struct Case {
        HpStatus status;
        const char* text;
        VXLogSeverity severity = VX_LOG_SEVERITY_ERROR;
    };
    const Case cases[] = {
        {{HP_STATUS_DEVICE_RESPONSE_ERROR, 5, "flash busy"},
         "Request failed, device response with error, errorCode: 5, msg: flash busy"},
        {{HP_STATUS_DEVICE_RESPONSE_ERROR_UNKNOWN, 0xFFFF, "Device response with unknown error"},
         "Request failed, device response with unknown error!"},
        {{HP_STATUS_TRANSFER_FAILED, 0xFFFF, "Send and receive data transfer failed!"},
         "Request failed, statusCode: 2, msg: Send and receive data transfer failed!"},
        {{HP_STATUS_DEVICE_RESPONSE_WARNING, 0x8001, "low voltage"},
         "Request failed, device response with warning, errorCode: 32769, msg:low voltage",
         VX_LOG_SEVERITY_WARN},
    };
    for (const Case& c : cases) {
        host().clearLog();
        if (c.severity == VX_LOG_SEVERITY_ERROR) {
            EXPECT_THAT([&] { checkStatus(c.status, true); }, failsWith(c.text));
            EXPECT_TRUE(host().logLines().empty());
            EXPECT_FALSE(checkStatus(c.status, false));
        } else {
            EXPECT_FALSE(checkStatus(c.status, true));
        }
        ASSERT_EQ(host().logLines().size(), 1u);
        EXPECT_EQ(host().logLines()[0].message, c.text);
        EXPECT_EQ(host().logLines()[0].severity, c.severity);
        EXPECT_EQ(host().logLines()[0].function, "checkStatus");
    }
}
