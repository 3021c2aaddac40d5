// Processes that a test starts.
#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <functional>

#include <sys/wait.h>
#include <unistd.h>

/// A child of this process, which ends with 0 if it does what it should, and at last by an alarm.
class Process {
  public:
    explicit Process(const std::function<void()>& work) : _pid(fork()) {
        if (_pid != 0)
            return;
        alarm(200);
        work();
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int Wait() const {
        int status = -1;
        waitpid(_pid, &status, 0);
        return status;
    }
    void Kill() const {
        kill(_pid, SIGKILL);
        EXPECT_EQ(Wait(), SIGKILL);
    }

  private:
    pid_t _pid;
};

/// What one process waits for until another one says it.
class Signal {
  public:
    Signal() { EXPECT_EQ(pipe(_ends), 0); }
    void Say() const { EXPECT_EQ(write(_ends[1], "x", 1), 1); }
    void Await() const {
        char byte = 0;
        EXPECT_EQ(read(_ends[0], &byte, 1), 1);
    }

  private:
    int _ends[2] = {};
};
