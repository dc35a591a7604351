#pragma once
// A UserMessages for tests: records every message and question, answers questions and choosers from
// queues the test fills (Yes and "" when a queue is empty), and installs itself for its lifetime.

#include <QStringList>
#include <deque>

#include "app/user_messages.h"

namespace tembrix::test {

class RecordingMessages : public UserMessages {
public:
    RecordingMessages() { m_previous = SetMessages(this); }
    ~RecordingMessages() override { SetMessages(m_previous); }

    void ShowMessage(const QString& text) override { shown.append(text); }
    bool AskYesNo(const QString& title, const QString& text) override {
        asked.append(title + QStringLiteral(" | ") + text);
        if (answers.empty()) {
            return true;
        }
        const bool a = answers.front();
        answers.pop_front();
        return a;
    }
    QString ChooseOpenFile(const QString& title, const QString&, const QString&) override {
        return Pop(title);
    }
    QStringList ChooseOpenFiles(const QString& title, const QString&, const QString&) override {
        chooserTitles.append(title);
        if (fileLists.empty()) {
            return {};
        }
        QStringList l = fileLists.front();
        fileLists.pop_front();
        return l;
    }
    QString ChooseSaveFile(const QString& title, const QString&, const QString&) override {
        return Pop(title);
    }
    QString ChooseFolder(const QString& title, const QString&) override { return Pop(title); }

    QStringList shown;                  // message box texts, in order
    QStringList asked;                  // "title | text" of every question
    QStringList chooserTitles;          // titles of every chooser opened
    std::deque<bool> answers;           // replies to questions
    std::deque<QString> choices;        // replies to single-file and folder choosers
    std::deque<QStringList> fileLists;  // replies to multi-file choosers

private:
    QString Pop(const QString& title) {
        chooserTitles.append(title);
        if (choices.empty()) {
            return {};
        }
        QString c = choices.front();
        choices.pop_front();
        return c;
    }
    UserMessages* m_previous = nullptr;
};

}  // namespace tembrix::test
