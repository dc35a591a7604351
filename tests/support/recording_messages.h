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
    QString ChooseOpenFile(const QString& title, const QString&, const QString&) override {
        return Chosen(choices, title);
    }
    QStringList ChooseOpenFiles(const QString& title, const QString&, const QString&) override {
        return Chosen(fileLists, title);
    }
    QString ChooseSaveFile(const QString& title, const QString&, const QString&) override {
        return Chosen(choices, title);
    }
    QString ChooseFolder(const QString& title, const QString&) override { return Chosen(choices, title); }

    QStringList shown;                  // message box texts, in order
    QStringList asked;                  // "title | text" of every question
    QStringList chooserTitles;          // titles of every chooser opened
    std::deque<bool> answers;           // replies to questions
    std::deque<QString> choices;        // replies to single-file and folder choosers
    std::deque<QStringList> fileLists;  // replies to multi-file choosers

private:
    template <typename T>
    T Next(std::deque<T>& replies, T otherwise) {
        if (replies.empty()) {
            return otherwise;
        }
        T reply = replies.front();
        replies.pop_front();
        return reply;
    }
    template <typename T>
    T Chosen(std::deque<T>& replies, const QString& title) {
        chooserTitles.append(title);
        return Next(replies, T());
    }
    UserMessages* m_previous = nullptr;
};

}  // namespace tembrix::test
