#pragma once

#include <cstddef>
#include <exception>
#include <utility>
#include <variant>

#include "KuvAuth/Signing/Failure.h"

namespace Kuv::Signing {

/// A value, or the reason why there is none. Test it before you use the value: a wrong access ends the
/// process (`std::terminate`) instead of returning a part of a request.
template <typename Type>
class [[nodiscard]] Result {
 public:
  /// Holds a value.
  Result(Type value) : content_(std::in_place_index<0>, std::move(value)) {}
  /// Holds a failure.
  Result(Failure failure) : content_(std::in_place_index<1>, std::move(failure)) {}

  /// Returns whether there is a value.
  [[nodiscard]] bool HasValue() const noexcept { return content_.index() == 0; }
  /// Returns whether there is a value.
  [[nodiscard]] explicit operator bool() const noexcept { return HasValue(); }

  /// Returns the value. Ends the process if there is none.
  [[nodiscard]] Type& Value() & noexcept { return Get<0>(content_); }
  /// @overload
  [[nodiscard]] const Type& Value() const& noexcept { return Get<0>(content_); }
  /// @overload
  [[nodiscard]] Type&& Value() && noexcept { return std::move(Get<0>(content_)); }
  /// Returns the value. Ends the process if there is none.
  [[nodiscard]] Type& operator*() & noexcept { return Value(); }
  /// @overload
  [[nodiscard]] const Type& operator*() const& noexcept { return Value(); }
  /// @overload
  [[nodiscard]] Type&& operator*() && noexcept { return std::move(*this).Value(); }
  /// Accesses a member of the value. Ends the process if there is none.
  [[nodiscard]] Type* operator->() noexcept { return &Value(); }
  /// @overload
  [[nodiscard]] const Type* operator->() const noexcept { return &Value(); }

  /// Returns the failure. Ends the process if there is a value.
  [[nodiscard]] const Failure& GetFailure() const noexcept { return Get<1>(content_); }

 private:
  template <std::size_t Index, typename Content>
  static auto& Get(Content& content) noexcept {
    auto* const held = std::get_if<Index>(&content);
    if (held == nullptr) std::terminate();
    return *held;
  }

  std::variant<Type, Failure> content_;
};

}  // namespace Kuv::Signing
