// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace penmark {

template <class Signature>
class FunctionRef;

/// Refers to something callable for the length of a call; neither owns nor allocates.
template <class Result, class... Arguments>
class FunctionRef<Result(Arguments...)> {
public:
    template <class Callable>
    requires(!std::is_same_v<std::remove_cvref_t<Callable>, FunctionRef> &&
             std::is_invocable_r_v<Result, Callable&, Arguments...>)
        // Implicit, so that a lambda can be passed as it stands. The constraint keeps copies out.
        // NOLINTNEXTLINE(bugprone-forwarding-reference-overload)
        FunctionRef(Callable&& callable)
        : object_(const_cast<void*>(static_cast<const void*>(std::addressof(callable)))),
          call_([](void* object, Arguments... arguments) -> Result {
              return (*static_cast<std::remove_reference_t<Callable>*>(object))(std::forward<Arguments>(arguments)...);
          })
    {}

    Result operator()(Arguments... arguments) const { return call_(object_, std::forward<Arguments>(arguments)...); }

private:
    void* object_;
    Result (*call_)(void*, Arguments...);
};

}  // namespace penmark
