// What clients ask of a camera's services, and what they are answered.
#include "recording/Cdr.h"
#include "ros2/CameraServices.h"
#include "tests/ros2/TestDomain.h"
#include "tests/support/Files.h"
#include "tests/support/Process.h"

#include <gmock/gmock.h>

namespace ox3d::ros2 {
namespace {

constexpr uint64_t kClient = 0x1122334455667788;
constexpr int64_t kNumber = 7;

class CRequestWriter {
public:
    CRequestWriter() : m_cdr(&m_bytes) {
        m_cdr.Add(kClient);
        m_cdr.Add(kNumber);
    }
    CCdrWriter& Cdr() { return m_cdr; }
    CRequestWriter& Names(const std::vector<std::string>& names) {
        m_cdr.Add(static_cast<uint32_t>(names.size()));
        for (const std::string& name : names) {
            m_cdr.Text(name);
        }
        return *this;
    }
    CRequestWriter& Value(uint8_t type, const ParameterValue& value, uint32_t integers = 0) {
        m_cdr.Add(type);
        m_cdr.Add(static_cast<uint8_t>(std::holds_alternative<bool>(value) && std::get<bool>(value)));
        m_cdr.Add(std::holds_alternative<int64_t>(value) ? std::get<int64_t>(value) : int64_t{0});
        m_cdr.Add(std::holds_alternative<double>(value) ? std::get<double>(value) : 0.0);
        m_cdr.Text(std::holds_alternative<std::string>(value) ? std::get<std::string>(value) : "");
        m_cdr.Array(std::array<uint32_t, 2>{});
        m_cdr.Add(integers);
        m_cdr.Array(std::vector<int64_t>(integers));
        m_cdr.Array(std::array<uint32_t, 2>{});
        return *this;
    }
    CRequestWriter& Parameters(const std::vector<Parameter>& parameters) {
        m_cdr.Add(static_cast<uint32_t>(parameters.size()));
        for (const auto& [name, value] : parameters) {
            m_cdr.Text(name);
            Value(static_cast<uint8_t>(value.index()), value);
        }
        return *this;
    }
    const ByteVector& Bytes() const { return m_bytes; }

private:
    ByteVector m_bytes;
    CCdrWriter m_cdr;
};

// A gain of 1 to 4, and a text that cannot be set.
class CTwoParameters : public IParameters {
public:
    std::vector<std::string> Names() override { return {"Gain", "Device.Model.Name"}; }
    ParameterValue Get(const std::string& name) override {
        return name == "Gain" ? ParameterValue(m_gain) : ParameterValue();
    }
    ParameterDescriptor Describe(const std::string& name) override {
        if (name != "Gain") {
            return {name, EParameterType::Text, "", "", true, {}};
        }
        return {name, EParameterType::Double, "dB", "1 .. 4", false, ParameterDescriptor::DoubleRange{1, 4}};
    }
    SetResult Set(const Parameter& parameter) override { return SetAll({&parameter, 1}); }
    SetResult SetAll(std::span<const Parameter> parameters) override {
        for (const Parameter& parameter : parameters) {
            if (parameter.m_name != "Gain") {
                return {false, "it is read-only"};
            }
        }
        m_gain = std::get<double>(parameters.back().m_value);
        return {true, ""};
    }
    SetResult Trigger() override { return {false, "no trigger"}; }

    double m_gain = 1.5;
};

// A reply behind its identity, which is the request's.
CCdrReader ReplyOf(const ByteVector& reply) {
    CCdrReader cdr(reply);
    EXPECT_EQ(cdr.Take<uint64_t>(), kClient);
    EXPECT_EQ(cdr.Take<int64_t>(), kNumber);
    return cdr;
}

ByteVector Answer(EService service, const ByteVector& bytes, IParameters& parameters) {
    const auto request = ReadServiceRequest(service, bytes);
    EXPECT_TRUE(request.has_value());
    return request ? AnswerTo(*request, parameters) : ByteVector();
}

void ExpectDouble(CCdrReader* cdr, double value) {
    EXPECT_EQ(cdr->Take<uint8_t>(), 3u);
    cdr->Take<uint8_t>();
    cdr->Take<int64_t>();
    EXPECT_EQ(cdr->Take<double>(), value);
    EXPECT_EQ(cdr->Text(), "");
    for (int array = 0; array < 5; ++array) {
        EXPECT_EQ(cdr->Take<uint32_t>(), 0u);
    }
}

TEST(Ros2Requests, AreAnsweredInTheOrderOfTheirNames) {
    CTwoParameters parameters;
    const ByteVector values =
        Answer(EService::GetParameters, CRequestWriter().Names({"Gain", "x", "Gain"}).Bytes(), parameters);
    CCdrReader cdr = ReplyOf(values);
    ASSERT_EQ(cdr.Take<uint32_t>(), 3u);
    ExpectDouble(&cdr, 1.5);
    EXPECT_EQ(cdr.Take<uint8_t>(), 0u); // not set
    EXPECT_FALSE(cdr.HasFailed());

    const ByteVector types =
        Answer(EService::GetParameterTypes, CRequestWriter().Names({"x", "Gain"}).Bytes(), parameters);
    cdr = ReplyOf(types);
    const auto kinds = cdr.Bytes();
    EXPECT_THAT(kinds, testing::ElementsAre(4, 3));
    EXPECT_EQ(cdr.Left(), 0u);

    const ByteVector described =
        Answer(EService::DescribeParameters, CRequestWriter().Names({"Gain"}).Bytes(), parameters);
    cdr = ReplyOf(described);
    EXPECT_EQ(cdr.Take<uint32_t>(), 1u);
    EXPECT_EQ(cdr.Text(), "Gain");
    EXPECT_EQ(cdr.Take<uint8_t>(), 3u);
    EXPECT_EQ(cdr.Text(), "dB");
    EXPECT_EQ(cdr.Text(), "1 .. 4");
    EXPECT_EQ(cdr.Take<uint8_t>(), 0u); // not read-only
    EXPECT_EQ(cdr.Take<uint8_t>(), 0u); // of one type
    ASSERT_EQ(cdr.Take<uint32_t>(), 1u);
    EXPECT_EQ(cdr.Take<double>(), 1);
    EXPECT_EQ(cdr.Take<double>(), 4);
    EXPECT_EQ(cdr.Take<double>(), 0);
    EXPECT_EQ(cdr.Take<uint32_t>(), 0u); // no range of whole numbers
    EXPECT_EQ(cdr.Left(), 0u);
    EXPECT_FALSE(cdr.HasFailed());
}

TEST(Ros2Requests, ListNamesByTheirPartsAndDepth) {
    CTwoParameters parameters;
    const std::string deep = "Device.Model.Name";
    const struct {
        std::vector<std::string> m_prefixes;
        uint64_t m_depth;
        std::vector<std::string> m_listed;
    } cases[] = {{{}, 0, {"Gain", deep}},      {{}, 1, {"Gain"}}, {{"Device"}, 0, {deep}},
                 {{"Device"}, 1, {}},          {{"Dev"}, 0, {}},  {{"Device.Model"}, 1, {deep}},
                 {{"Gain"}, 1, {"Gain"}},      {{""}, 0, {}},     {{}, UINT64_MAX, {"Gain", deep}},
                 {{"Device", deep}, 1, {deep}}};
    for (const auto& [prefixes, depth, listed] : cases) {
        CRequestWriter request;
        request.Names(prefixes).Cdr().Add(depth);
        const ByteVector reply = Answer(EService::ListParameters, request.Bytes(), parameters);
        CCdrReader cdr = ReplyOf(reply);
        std::vector<std::string> names(cdr.Take<uint32_t>());
        ASSERT_LE(names.size(), 2u);
        std::generate(names.begin(), names.end(), [&] { return cdr.Text(); });
        EXPECT_EQ(names, listed);
        const bool isDeep = !listed.empty() && listed.back() == deep;
        ASSERT_EQ(cdr.Take<uint32_t>(), isDeep ? 1u : 0u);
        EXPECT_EQ(isDeep ? cdr.Text() : "Device.Model", "Device.Model");
    }
}

TEST(Ros2Requests, SetOneAfterTheOtherOrAllOrNone) {
    CTwoParameters parameters;
    const std::vector<Parameter> both = {{"Gain", 2.5}, {"x", std::string("y")}};
    const ByteVector none =
        Answer(EService::SetParametersAtomically, CRequestWriter().Parameters(both).Bytes(), parameters);
    CCdrReader cdr = ReplyOf(none);
    EXPECT_EQ(cdr.Take<uint8_t>(), 0u);
    EXPECT_EQ(cdr.Text(), "it is read-only");
    EXPECT_EQ(parameters.m_gain, 1.5);

    const ByteVector one =
        Answer(EService::SetParameters, CRequestWriter().Parameters(both).Bytes(), parameters);
    cdr = ReplyOf(one);
    ASSERT_EQ(cdr.Take<uint32_t>(), 2u);
    EXPECT_EQ(cdr.Take<uint8_t>(), 1u);
    EXPECT_EQ(cdr.Text(), "");
    EXPECT_EQ(cdr.Take<uint8_t>(), 0u);
    EXPECT_EQ(cdr.Text(), "it is read-only");
    EXPECT_FALSE(cdr.HasFailed());
    EXPECT_EQ(parameters.m_gain, 2.5);
}

// Every message that ends too early, and each of those that say what cannot be.
TEST(Ros2Requests, AreRefusedWhereTheyAreNotWellFormed) {
    CRequestWriter whole;
    whole.Parameters({{"Gain", 2.5}});
    EXPECT_TRUE(ReadServiceRequest(EService::SetParameters, whole.Bytes()));
    for (size_t length = 0; length < whole.Bytes().size(); ++length) {
        EXPECT_FALSE(ReadServiceRequest(EService::SetParameters, std::span(whole.Bytes()).first(length)))
            << length;
    }
    const auto edited = [](ByteVector bytes, size_t at, uint8_t value) {
        bytes.at(at) = value;
        return bytes;
    };
    const ByteVector name = CRequestWriter().Names({"Gain"}).Bytes(); // count at 20, length at 24, text at 28
    const std::pair<const char*, ByteVector> cases[] = {
        {"big-endian", edited(name, 1, 0)},
        {"a count of billions", edited(name, 23, 0xff)},
        {"a text of no length", edited(name, 24, 0)},
        {"a text beyond the end", edited(name, 24, 6)},
        {"a text without an end", edited(name, 32, 'x')},
        {"a text that ends twice", edited(name, 29, 0)},
        {"a long name", CRequestWriter().Names({std::string(kMaxNameBytes + 1, 'x')}).Bytes()},
        {"many names", CRequestWriter().Names(std::vector<std::string>(kMaxRequestNames + 1)).Bytes()},
        {"what comes behind", CRequestWriter().Names({"Gain", "Gain"}).Names({"Gain"}).Bytes()}};
    for (const auto& [what, bytes] : cases) {
        EXPECT_FALSE(ReadServiceRequest(EService::GetParameters, bytes)) << what;
    }
    const auto setting = [](uint8_t type, const ParameterValue& value, uint32_t integers = 0) {
        CRequestWriter request;
        request.Cdr().Add(uint32_t{1});
        request.Cdr().Text("a");
        return ReadServiceRequest(EService::SetParameters, request.Value(type, value, integers).Bytes());
    };
    EXPECT_FALSE(setting(10, {}));
    EXPECT_FALSE(setting(4, std::string(kMaxValueBytes + 1, 'x')));
    EXPECT_FALSE(setting(7, {}, kMaxRequestBytes / sizeof(int64_t)));
    const auto array = setting(7, {}, 1000);
    ASSERT_TRUE(array && array->m_parameters.size() == 1);
    EXPECT_TRUE(std::holds_alternative<ArrayValue>(array->m_parameters[0].m_value));
    // A client of the other layer sends no identity.
    ByteVector bare;
    CCdrWriter(&bare).Add(uint8_t{0});
    EXPECT_FALSE(ReadServiceRequest(EService::Trigger, bare));
}

constexpr auto kPatience = std::chrono::seconds(20);

// A client of one service: like those of ROS 2 it has a writer of requests and a reader of replies.
class CClient {
public:
    CClient(IDomain& domain, const std::string& space, EService service) {
        const RosService& known = kServices[static_cast<size_t>(service)];
        Topic topic;
        topic.m_keptMessages = 0;
        topic.m_name = "rr/" + space + "/" + known.m_name + "Reply";
        topic.m_type = ServiceWireNameOf(known.m_reply);
        m_replies = domain.Subscribe(topic, &m_error);
        topic.m_name = "rq/" + space + "/" + known.m_name + "Request";
        topic.m_type = ServiceWireNameOf(known.m_request);
        m_requests = domain.Publish(topic, &m_error);
        EXPECT_TRUE(m_requests != nullptr && m_replies != nullptr) << m_error;
        const auto until = std::chrono::steady_clock::now() + kPatience;
        while ((m_requests->Readers() == 0 || m_replies->Writers() == 0) &&
               std::chrono::steady_clock::now() < until) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    void Send(ByteVector bytes) {
        EXPECT_TRUE(m_requests->Write(std::make_shared<CMessage>(std::move(bytes))));
    }
    MessagePointer Take() { return m_replies->Take(kPatience); }
    // The reply as it came, 4 bytes before its identity.
    ByteVector Call(const CRequestWriter& request) {
        Send(request.Bytes());
        const MessagePointer reply = Take();
        EXPECT_NE(reply, nullptr);
        return reply == nullptr ? ByteVector() : ByteVector(reply->Bytes().begin(), reply->Bytes().end());
    }

private:
    std::string m_error;
    std::unique_ptr<IWriter> m_requests;
    std::unique_ptr<IReader> m_replies;
};

CRequestWriter TriggerRequest() {
    CRequestWriter request;
    request.Cdr().Add(uint8_t{0});
    return request;
}

TEST(Ros2Services, AnswerTheFirstRequestAndSurviveWhatIsNoRequest) {
    std::string error;
    const auto domain = OpenDomain(91, &error);
    CTwoParameters parameters;
    const auto services = CCameraServices::Make(*domain, "cell/left", parameters, &error);
    ASSERT_NE(services, nullptr) << error;
    GraphNode node;
    services->AddTo(&node);
    EXPECT_EQ(node.m_readers.size(), 7u);
    EXPECT_EQ(node.m_writers.size(), 7u);
    CClient trigger(*domain, "cell/left", EService::Trigger);
    const ByteVector refused = trigger.Call(TriggerRequest());
    CCdrReader cdr = ReplyOf(refused);
    EXPECT_EQ(cdr.Take<uint8_t>(), 0u);
    EXPECT_EQ(cdr.Text(), "no trigger");

    CClient client(*domain, "cell/left", EService::GetParameters);
    client.Send({0, 1, 0, 0, 1, 2, 3});
    client.Send(ByteVector(kMaxRequestBytes + 1, 1));
    const ByteVector values = client.Call(CRequestWriter().Names({"Gain"}));
    cdr = ReplyOf(values);
    EXPECT_EQ(cdr.Take<uint32_t>(), 1u);
    ExpectDouble(&cdr, 1.5);
    EXPECT_GE(services->Figures().m_malformed, 1u);
}

// A camera that does not come back from a call.
class CSlowParameters : public CTwoParameters {
public:
    SetResult Trigger() override {
        const CLock lock(m_mutex);
        while (!m_isReleased) {
            m_changed.Wait(m_mutex);
        }
        return {true, ""};
    }
    void Release() {
        const CLock lock(m_mutex);
        m_isReleased = true;
        m_changed.NotifyAll();
    }

private:
    CMutex m_mutex;
    CCondition m_changed;
    bool m_isReleased OX_GUARDED_BY(m_mutex) = false;
};

TEST(Ros2Services, DropWhatComesWhileSixteenRequestsWait) {
    std::string error;
    const auto domain = OpenDomain(91, &error);
    CSlowParameters parameters;
    const auto services = CCameraServices::Make(*domain, "slow", parameters, &error);
    ASSERT_NE(services, nullptr) << error;
    CClient client(*domain, "slow", EService::Trigger);
    constexpr uint64_t kSent = 40;
    for (uint64_t i = 0; i < kSent; ++i) {
        client.Send(TriggerRequest().Bytes());
    }
    const auto until = std::chrono::steady_clock::now() + kPatience;
    while (services->Figures().m_dropped < kSent - 17 && std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    parameters.Release();
    for (int i = 0; i < 16; ++i) {
        ASSERT_NE(client.Take(), nullptr) << i;
    }
    ServiceFigures figures;
    do {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        figures = services->Figures();
    } while (figures.m_answered + figures.m_dropped < kSent && std::chrono::steady_clock::now() < until);
    EXPECT_EQ(figures.m_answered + figures.m_dropped, kSent);
    EXPECT_LE(figures.m_answered, 17u); // one was being answered
}

// The command with a virtual camera: features are set with the checks of "ox3d set", and a trigger makes a frame.
TEST(Ros2Services, SetTheFeaturesOfACamera) {
    std::string error;
    const auto domain = OpenDomain(92, &error);
    const test::CTempFolder folder;
    test::CProcess tool(
        {OX3D_TOOL, "ros2", "--provider", OX3D_VIRTUAL_PROVIDER, "--domain", "92", "--no-graph"},
        folder.Path().string(), {});
    CClient set(*domain, "camera", EService::SetParameters);
    CClient all(*domain, "camera", EService::SetParametersAtomically);
    CClient get(*domain, "camera", EService::GetParameters);
    CClient list(*domain, "camera", EService::ListParameters);
    CRequestWriter every;
    every.Names({}).Cdr().Add(uint64_t{0});
    uint32_t names = 0;
    const auto until = std::chrono::steady_clock::now() + kPatience;
    while (names == 0 && std::chrono::steady_clock::now() < until) { // until the camera is open
        const ByteVector listed = list.Call(every);
        names = ReplyOf(listed).Take<uint32_t>();
    }
    EXPECT_GT(names, 10u);

    const ByteVector results = set.Call(CRequestWriter().Parameters({{"TriggerMode", std::string("On")},
                                                                     {"TriggerMode", std::string("Maybe")},
                                                                     {"TriggerMode", true},
                                                                     {"ExposureTime", 5000.0},
                                                                     {"ExposureTime", 1e300},
                                                                     {"None", int64_t{1}}}));
    CCdrReader cdr = ReplyOf(results);
    ASSERT_EQ(cdr.Take<uint32_t>(), 6u);
    const auto expect = [&cdr](bool isSet, const std::string& reason) {
        EXPECT_EQ(cdr.Take<uint8_t>(), isSet ? 1u : 0u) << reason;
        EXPECT_THAT(cdr.Text(), testing::HasSubstr(reason));
    };
    expect(true, "");
    expect(false, "possible: ");
    expect(false, "is of another type: Enumeration");
    expect(true, "");
    expect(false, "possible: ");
    expect(false, "no feature");

    const ByteVector none = all.Call(
        CRequestWriter().Parameters({{"ExposureTime", 6000.0}, {"TriggerMode", std::string("Maybe")}}));
    cdr = ReplyOf(none);
    expect(false, "taken back");
    const ByteVector values = get.Call(CRequestWriter().Names({"ExposureTime"}));
    cdr = ReplyOf(values);
    EXPECT_EQ(cdr.Take<uint32_t>(), 1u);
    ExpectDouble(&cdr, 5000);

    CClient trigger(*domain, "camera", EService::Trigger);
    const ByteVector triggered = trigger.Call(TriggerRequest());
    cdr = ReplyOf(triggered);
    expect(true, "");
    tool.Signal(SIGINT);
    EXPECT_EQ(tool.Finish(), 0) << tool.Output();
}

} // namespace
} // namespace ox3d::ros2
