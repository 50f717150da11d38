#pragma once

#include <stdexcept>

// What the program's parts agree on: exit statuses and errors of their own.

/// Same: done; nothing differs, is damaged or lost. Found: done, and something does. Failed: wrong call, or a failure.
/// Interrupted: the user has ended it. The numbers are documented: never change them.
enum class kvs_Status : int { Same = 0, Found = 1, Failed = 2, Interrupted = 130 };

/// What is wrong with the call or a file, in one line for the user.
class kvs_Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The user has asked the program to end.
class kvs_Interrupted : public std::exception {};
