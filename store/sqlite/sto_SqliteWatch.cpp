#include "store/sqlite/sto_SqliteWatch.h"

#include <sqlite3.h>

sto_SqliteWatch::sto_SqliteWatch(sto_SqliteConnection& connection, sto_Meter* meter, int stepsInUnit)
    : m_Connection(connection), m_Meter(meter), m_StepsInUnit(stepsInUnit) {
  if (m_Meter != nullptr)
    sqlite3_progress_handler(m_Connection.Handle(), StepsInCall, &sto_SqliteWatch::Call, this);
}

sto_SqliteWatch::~sto_SqliteWatch() {
  if (m_Meter != nullptr) m_Connection.CountSteps();
}

int sto_SqliteWatch::Call(void* self) noexcept {
  return static_cast<sto_SqliteWatch*>(self)->GoesOn() ? 0 : 1;
}

bool sto_SqliteWatch::GoesOn() noexcept {
  if (++m_Calls * StepsInCall >= sto_SqliteConnection::StepsInCall) {
    m_Calls = 0;
    if (!m_Connection.CountStepsInCall()) return false;
  }
  if (m_IsStopped) return false;
  try {
    for (int steps = 0; steps < StepsInCall; steps += m_StepsInUnit) m_Meter->Step();
  } catch (...) { // the meter keeps it: it must not pass through SQLite
    m_IsStopped = true;
  }
  return !m_IsStopped;
}
