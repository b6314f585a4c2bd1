#pragma once

#include <QApplication>
#include <QTimer>
#include <QWidget>

#include <functional>

// Answers the next modal window of type T once a nested event loop shows
// it, so that a test can call a slot that runs exec(). Gives up after five
// seconds; answered() tells whether the window was seen.
template<typename T>
class ModalAnswer
{
public:
    explicit ModalAnswer(std::function<void(T*)> answer)
        : answer(std::move(answer))
    {
        timer.setInterval(10);
        QObject::connect(&timer, &QTimer::timeout, [this] { poll(); });
        timer.start();
    }

    bool answered() const { return done; }

private:
    void poll()
    {
        if (T* window = qobject_cast<T*>(QApplication::activeModalWidget())) {
            timer.stop();
            done = true;
            answer(window);
        } else if (++polls > 500) {
            timer.stop();
        }
    }

    std::function<void(T*)> answer;
    QTimer timer;
    int polls = 0;
    bool done = false;
};
