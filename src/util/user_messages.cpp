#include "util/user_messages.h"

#include <atomic>
#include <cstdio>

namespace tembrix {

void ConsoleMessages::ShowMessage(const QString& text) {
    std::fprintf(stderr, "%s\n", text.toUtf8().constData());
    std::fflush(stderr);
}

bool ConsoleMessages::AskYesNo(const QString& title, const QString& text) {
    std::fprintf(stderr, "%s: %s %s\n", title.toUtf8().constData(), text.toUtf8().constData(),
                 m_answerYes ? "Да" : "Нет");
    std::fflush(stderr);
    return m_answerYes;
}

namespace {
ConsoleMessages g_console;
std::atomic<UserMessages*> g_current{nullptr};
}  // namespace

UserMessages& Messages() {
    UserMessages* current = g_current.load();
    return current != nullptr ? *current : g_console;
}

UserMessages* SetMessages(UserMessages* messages) {
    UserMessages* previous = g_current.exchange(messages);
    return previous != nullptr ? previous : &g_console;
}

}  // namespace tembrix
