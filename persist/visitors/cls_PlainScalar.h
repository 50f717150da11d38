#pragma once

#include <concepts>

template <class T, class... Types>
concept cls_OneOf = (std::same_as<T, Types> || ...);

/// The plain values that a memento reads and writes, each under exactly its own type. Nothing is converted
/// implicitly: a pointer would become a bool, and a long differs in size between systems.
template <class T>
concept cls_PlainScalar = cls_OneOf<T, bool, float, double, unsigned int, int, signed char, short,
                                    unsigned short, long long, unsigned long long>;
