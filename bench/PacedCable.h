// Two pseudo terminals joined by a wire of a given speed: for programs that speak over standard input and output.
#pragma once

#include <string>
#include <thread>

class PacedCable {
public:
    // Throws std::runtime_error where a terminal cannot be had. 0 baud is as fast as it goes.
    explicit PacedCable(unsigned int baud);
    ~PacedCable();
    PacedCable(const PacedCable&) = delete;
    PacedCable& operator=(const PacedCable&) = delete;

    const std::string& Left() const { return mLeftPath; }
    const std::string& Right() const { return mRightPath; }

private:
    struct End {
        int master = -1;
        int heldSlave = -1;  // so that the line stays up between programs
    };
    static End OpenEnd(std::string& path);
    void Carry(int from, int to, unsigned int baud) const;

    std::string mLeftPath;
    std::string mRightPath;
    End mLeft;
    End mRight;
    int mStopPipe[2] = {-1, -1};
    std::thread mLeftToRight;
    std::thread mRightToLeft;
};
