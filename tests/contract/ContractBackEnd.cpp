#include "tests/contract/ContractBackEnd.h"

#include <stdexcept>

namespace {

[[noreturn]] void RaiseMissing(std::string const& operation) {
  throw std::logic_error("the back end's abilities promise " + operation + ", which its session lacks");
}

} // namespace

bool ContractSession::HasRoot(std::string const&) {
  RaiseMissing("HasRoot");
}
std::vector<std::string> ContractSession::Roots() {
  RaiseMissing("Roots");
}
bool ContractSession::RemoveRoot(std::string const&) {
  RaiseMissing("RemoveRoot");
}
std::int64_t ContractSession::ObjectCount() {
  RaiseMissing("ObjectCount");
}
std::int64_t ContractSession::CollectGarbage() {
  RaiseMissing("CollectGarbage");
}
std::int64_t ContractSession::SizeBytes() {
  RaiseMissing("SizeBytes");
}
void ContractSession::Begin() {
  RaiseMissing("Begin");
}
void ContractSession::Commit() {
  RaiseMissing("Commit");
}
void ContractSession::Rollback() {
  RaiseMissing("Rollback");
}
ContractSession::Proxy ContractSession::MakeProxy(std::string const&) {
  RaiseMissing("MakeProxy of a root");
}
ContractSession::Proxy ContractSession::MakeProxy(cls_ReadVisitor const&) {
  RaiseMissing("MakeProxy of a visitor");
}
