// The private sink of an audio mixer's channel.
#pragma once

#include "core/AudioInput.h"
#include "quolsdk/LSink.h"

// Queues the sound of its source; pictures pass it by.
class AudioMixerSink final : public LSink {
public:
    explicit AudioMixerSink(int sampleRate) : sound(sampleRate) {}

    void pushVideoFrame(AVFrame* /*frame*/) override {}
    void pushAudioFrame(AVFrame* frame) override { sound.push(frame); }

    quol::AudioInput sound;
};
