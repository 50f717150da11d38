#pragma once

#include <map>
#include <memory>

#include "tests/contract/ContractTest.h"

/// A node of a graph, with three fields for other nodes.
class GraphNode {
 public:
  static constexpr unsigned int TypeId() noexcept { return GraphNodeId; }

  explicit GraphNode(int value = 0) : m_Value(value) {}

  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    visitor.Write(cls_FieldHandle(0, "m_Value"_cow), m_Value);
    WriteIn(visitor, cls_FieldHandle(1, "m_Left"_cow), m_Left.get());
    WriteIn(visitor, cls_FieldHandle(2, "m_Right"_cow), m_Right.get());
    WriteIn(visitor, cls_FieldHandle(3, "m_Back"_cow), m_Back.lock().get());
  }
  /// Writes the node into a field; null writes nothing.
  static void WriteIn(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, GraphNode const* node) {
    if (node != nullptr) node->DBWrite(cls_WriteVisitor(visitor, field, nullptr, node));
  }
  static int ValueOf(cls_ReadVisitor const& visitor) {
    return visitor.Read(cls_FieldHandle(0, "m_Value"_cow), -1);
  }

  int m_Value;
  std::shared_ptr<GraphNode> m_Left;
  std::shared_ptr<GraphNode> m_Right;
  std::weak_ptr<GraphNode> m_Back;
  cls_Uid m_Uid;
};

/// Writes fields that hold a node: the object of a root, because roots are Scripted.
inline Scripted::WriteFields HoldingNode(std::shared_ptr<GraphNode> node) {
  return [node = std::move(node)](cls_WriteVisitor const& visitor) {
    GraphNode::WriteIn(visitor, FieldOf("Object"), node.get());
  };
}

/// What one load builds: each stored object becomes one node, which its identity finds again. The nodes that
/// only m_Back reaches live as long as this.
class LoadedGraph {
 public:
  /// The node that a field holds; null if it holds none.
  std::shared_ptr<GraphNode> Node(cls_ReadVisitor const& parent, cls_FieldHandle const& field) {
    return parent.DataIsPresent(field) == 0 ? nullptr : Node(ObjectIn(parent, field));
  }
  /// The node that a visitor reads.
  std::shared_ptr<GraphNode> Node(cls_ReadVisitor const& visitor) {
    constexpr std::size_t Most = 100'000; // a back end that answers wrongly makes no end of them
    if (m_Nodes.size() >= Most) throw std::runtime_error("there are more nodes than any test stores");
    cls_Uid const uid = visitor.GetUid();
    std::shared_ptr<GraphNode>& found = m_Nodes[uid.Entry()];
    if (found != nullptr) return found;
    found = std::make_shared<GraphNode>(GraphNode::ValueOf(visitor));
    std::shared_ptr<GraphNode> const node = found; // the map changes below
    node->m_Uid = uid;
    node->m_Left = Node(visitor, cls_FieldHandle(1, "m_Left"_cow));
    node->m_Right = Node(visitor, cls_FieldHandle(2, "m_Right"_cow));
    node->m_Back = Node(visitor, cls_FieldHandle(3, "m_Back"_cow));
    return node;
  }

 private:
  std::map<void const*, std::shared_ptr<GraphNode>> m_Nodes; // by identity
};
