// SPDX-FileCopyrightText: 2026 Tarnwick developers <dev@tarnwick.invalid>
//
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef RESULT_H
#define RESULT_H

#include "outcome.h"

#include <utility>

// What a step that looks something up or makes something gives back: the value, or the outcome
// that stopped it.
template<typename T>
class Result
{
public:
    Result(T &&value) : m_value(std::move(value)) { }
    Result(const T &value) : m_value(value) { }
    Result(const Outcome &failure) : m_failure(failure) { Q_ASSERT(!failure.isDone()); }

    explicit operator bool() const { return m_failure.isDone(); }
    const Outcome &failure() const { return m_failure; }
    T &operator*() { return m_value; }
    const T &operator*() const { return m_value; }
    T *operator->() { return &m_value; }
    const T *operator->() const { return &m_value; }
    T take() { return std::move(m_value); }

private:
    T m_value {};
    Outcome m_failure;
};

#endif // RESULT_H
