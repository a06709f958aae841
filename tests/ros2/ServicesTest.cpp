// What clients ask of a camera's services, and what they are answered.
#include "ros2/CameraServices.h"
#include "tests/ros2/ServiceClient.h"

#include <gmock/gmock.h>

namespace ox3d::ros2 {
namespace {

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

ByteVector Answer(EService service, const ByteVector& bytes, IParameters& parameters) {
    const auto request = ReadServiceRequest(service, bytes);
    EXPECT_TRUE(request.has_value());
    std::vector<std::string> changed;
    return request ? AnswerTo(*request, parameters, &changed) : ByteVector();
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

TEST(Ros2Services, AnswerTheFirstRequestAndSurviveWhatIsNoRequest) {
    std::string error;
    const auto domain = OpenDomain(91, &error);
    CTwoParameters parameters;
    const auto services = CCameraServices::Make(*domain, "cell/left", parameters, &error);
    ASSERT_NE(services, nullptr) << error;
    GraphNode node;
    services->AddTo(&node);
    EXPECT_EQ(node.m_readers.size(), 7u);
    EXPECT_EQ(node.m_writers.size(), 8u); // of events, too
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

} // namespace
} // namespace ox3d::ros2
