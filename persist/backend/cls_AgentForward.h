#pragma once

// Names of the back-end interfaces, for headers that only pass pointers to them.

enum cls_CollectionType : int;

class cls_MementoRead;
class cls_MementoWrite;
class cls_PC;

template <class T> class cls_ReadListPrim;
template <class T> class cls_ReadMapInt2Prim;
template <class T> class cls_ReadMapString2Prim;
class cls_ReadListObj;
class cls_ReadMapInt2Obj;
class cls_ReadMapString2Obj;
class cls_ReadIntTableInt;

template <class T> class cls_WriteListPrim;
template <class T> class cls_WriteMapInt2Prim;
template <class T> class cls_WriteMapString2Prim;
class cls_WriteListObj;
class cls_WriteMapInt2Obj;
class cls_WriteMapString2Obj;
class cls_WriteIntTableInt;

template <class T> class cls_AgentListPrim;
template <class K> class cls_AgentMapKey2Obj;
class cls_AgentListObj;
class cls_AgentBlob;
class cls_AgentRequest;
class cls_AgentProxy;
