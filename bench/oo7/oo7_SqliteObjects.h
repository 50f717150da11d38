#pragma once

#include <optional>
#include <string>
#include <vector>

// The objects that a session has read from the tables. An empty std::optional has not been read yet.

namespace oo7_sqlite {

struct Atom;
struct Base;

struct Connection {
  std::string m_Type;
  int m_Length = 0;
  Atom* m_To = nullptr;
};

struct Atom {
  int m_Id = 0;
  std::string m_Type;
  int m_BuildDate = 0;
  int m_X = 0;
  int m_Y = 0;
  int m_DocId = 0;
  int m_PartId = 0;
  std::vector<Connection> m_Connections;
  bool m_HasConnections = false; // they are read
  bool m_IsMoved = false;        // x and y are to be written
  int m_Mark = 0;                // of the last search that came here
};

struct Composite {
  int m_Id = 0;
  std::string m_Type;
  int m_BuildDate = 0;
  int m_RootId = 0;
  Atom* m_Root = nullptr;
  std::optional<std::string> m_DocumentText;
  std::optional<std::vector<Base*>> m_PrivateUsers;
};

struct Complex {
  int m_Id = 0;
  std::string m_Type;
  int m_BuildDate = 0;
  int m_SuperId = 0;
  std::optional<std::vector<Complex*>> m_Complexes; // below it
  std::vector<Base*> m_Bases;
};

struct Base {
  int m_Id = 0;
  std::string m_Type;
  int m_BuildDate = 0;
  int m_SuperId = 0;
  std::optional<std::vector<Composite*>> m_Private;
};

struct Document {
  int m_Id = 0;
};

} // namespace oo7_sqlite
