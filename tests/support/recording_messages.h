#pragma once
// A UserMessages for tests: records every message and question, answers questions and choosers from
// queues the test fills (Yes and "" when a queue is empty), and installs itself for its lifetime.

#include <QStringList>
#include <deque>

#include "util/user_messages.h"

namespace tembrix::test {

class RecordingMessages : public UserMessages {
public:
    RecordingMessages() { m_previous = SetMessages(this); }
    ~RecordingMessages() override { SetMessages(m_previous); }

    void ShowMessage(const QString& text) override { shown.append(text); }
    bool AskYesNo(const QString& title, const QString& text) override {
        asked.append(title + QStringLiteral(" | ") + text);
        return Next(answers, true);
    }
    QString ChooseOpenFile(const QString&, const QString&, const QString&) override {
        return Next(choices, {});
    }
    QStringList ChooseOpenFiles(const QString&, const QString&, const QString&) override {
        return Next(fileLists, {});
    }
    QString ChooseSaveFile(const QString&, const QString&, const QString&) override {
        return Next(choices, {});
    }
    QString ChooseFolder(const QString&, const QString&) override { return Next(choices, {}); }

    QStringList shown;                  // message box texts, in order
    QStringList asked;                  // "title | text" of every question
    std::deque<bool> answers;           // replies to questions
    std::deque<QString> choices;        // replies to single-file and folder choosers
    std::deque<QStringList> fileLists;  // replies to multi-file choosers

private:
    template <typename T>
    T Next(std::deque<T>& replies, T reply) {
        if (!replies.empty()) {
            reply = replies.front(), replies.pop_front();
        }
        return reply;
    }
    UserMessages* m_previous = nullptr;
};

}  // namespace tembrix::test
