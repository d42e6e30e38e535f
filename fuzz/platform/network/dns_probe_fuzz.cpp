// Fuzzes the function that checks DNS answers to the query for the name servers of the DNS root.
#include "platform/network/dns_probe.h"

#include "fuzz/fuzz_target.h"

namespace Vexo::Network {
namespace {

constexpr uint16_t ID = 0x4142;

std::vector<std::string> Samples()
{
    const std::vector<uint8_t> query = EncodeRootQuery(ID);
    std::string answer(query.begin(), query.end());
    answer[2] = '\x81';  // the flags mark an answer
    answer[7] = 1;       // the answer has one record
    answer += std::string(
        "\xc0\x0c\x00\x02\x00\x01\x00\x01\x00\x00\x00\x04\x01"
        "a\xc0\x0c",
        16);
    return {answer};
}

bool Run(std::string_view input)
{
    const auto* const data = reinterpret_cast<const uint8_t*>(input.data());
    const Result<void> checked = CheckRootAnswer(ID, data, input.size());
    if (!checked) {
        Fuzz::Require(checked.error().message.starts_with("DNS answer: "),
                      "a refusal's message starts with DNS answer");
        return false;
    }
    Fuzz::Require(input.starts_with("AB"), "only an answer to this query is accepted");
    Fuzz::Require(!CheckRootAnswer(ID + 1, data, input.size()), "the same bytes do not answer another query");
    return true;
}

const Fuzz::Registration REGISTRATION({"dns_answer", Samples, Run});

}  // namespace
}  // namespace Vexo::Network
