// Want and CommonEventData: the content of a common event, which consists of an action, integer parameters and a code.
// Value types.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace Vexo::EventFwk {

class Want {
public:
    Want& SetAction(std::string action)
    {
        action_ = std::move(action);
        return *this;
    }
    const std::string& GetAction() const { return action_; }

    Want& SetParam(const std::string& key, int32_t value)
    {
        parameters_[key] = value;
        return *this;
    }
    int32_t GetIntParam(const std::string& key, int32_t defaultValue) const
    {
        const auto it = parameters_.find(key);
        return it == parameters_.end() ? defaultValue : it->second;
    }

private:
    std::string action_;
    std::map<std::string, int32_t> parameters_;
};

class CommonEventData {
public:
    CommonEventData() = default;
    explicit CommonEventData(Want want, int32_t code = 0) : want_(std::move(want)), code_(code) {}

    const Want& GetWant() const { return want_; }
    int32_t GetCode() const { return code_; }

private:
    Want want_;
    int32_t code_ = 0;
};

}  // namespace Vexo::EventFwk
