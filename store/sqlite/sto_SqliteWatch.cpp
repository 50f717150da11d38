#include "store/sqlite/sto_SqliteWatch.h"

#include <sqlite3.h>

sto_SqliteWatch::sto_SqliteWatch(sto_SqliteConnection& connection, sto_Meter* meter, int stepsInUnit,
                                 int ticksInUnit)
    : m_Connection(connection), m_Meter(meter), m_StepsInUnit(stepsInUnit), m_TicksInUnit(ticksInUnit) {
  if (m_Meter != nullptr)
    sqlite3_progress_handler(m_Connection.Handle(), StepsInCall, &sto_SqliteWatch::Call, this);
}

sto_SqliteWatch::~sto_SqliteWatch() {
  if (m_Meter != nullptr) m_Connection.CountSteps();
}

int sto_SqliteWatch::Call(void* self) noexcept {
  return static_cast<sto_SqliteWatch*>(self)->GoesOn() ? 0 : 1;
}

void sto_SqliteWatch::Count() {
  for (int steps = 0; steps < StepsInCall; steps += m_StepsInUnit) {
    for (int ticks = 1; ticks < m_TicksInUnit; ++ticks) m_Meter->Tick();
    m_Meter->Step();
  }
}

bool sto_SqliteWatch::GoesOn() noexcept {
  if (++m_Calls * StepsInCall >= sto_SqliteConnection::StepsInCall) {
    m_Calls = 0;
    if (!m_Connection.CountStepsInCall()) return false;
  }
  if (m_IsStopped) return false;
  try {
    Count();
  } catch (...) { // the meter keeps it: it must not pass through SQLite
    m_IsStopped = true;
  }
  return !m_IsStopped;
}
