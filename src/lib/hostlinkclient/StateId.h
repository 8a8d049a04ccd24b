/// @file
/// Which state of the host is meant.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>

#include <hostlink/HostLinkExport.h>
#include <hostlink/HostLinkVocabularyNumbers.h>

namespace hostlink {

/// A state by its number or by its name. Whatever is no state is kept as it was given, and a request with it ends as a
/// bad argument before anything is sent. An ordinary value.
class HOSTLINK_EXPORT StateId {
public:
    StateId(State state) : StateId(static_cast<int64_t>(state)) {} // a state is named by its enumerator
    /// A number from 0 to 65535; the vocabulary need not have a name for it.
    template <typename Number, typename = std::enable_if_t<std::is_integral_v<Number>>>
    StateId(Number number) : StateId(static_cast<int64_t>(number)) {} // or by its number
    /// A name of the vocabulary ("PlayerVolume"), its enumerator's ("STA_PlayerVolume"), or a number as text.
    StateId(const std::string& name); // or by its name
    StateId(const char* name);        // or by its name

    /// Whether it means a state.
    bool isValid() const { return complaint.empty(); }
    /// What is wrong with one that is not valid: "there is no state named 'Volme'".
    const std::string& problem() const { return complaint; }
    /// The number on the wire; 0 when it is not valid.
    uint16_t number() const { return id; }
    /// The name in the vocabulary, or the number as hexadecimal text where there is none.
    std::string name() const;

    friend bool operator==(const StateId& a, const StateId& b) { return a.id == b.id && a.isValid() == b.isValid(); }
    friend bool operator!=(const StateId& a, const StateId& b) { return !(a == b); }
    friend bool operator<(const StateId& a, const StateId& b) { return a.id < b.id; }

private:
    explicit StateId(int64_t number);

    uint16_t id = 0;
    std::string complaint;
};

} // namespace hostlink
