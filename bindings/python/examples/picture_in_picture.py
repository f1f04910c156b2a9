#!/usr/bin/env python3
"""A clip in a corner over another one, with a title: picture_in_picture.py BACK FRONT OUT.png"""
import sys
import time

import quolsdk

mixer, title = quolsdk.LMixer(), quolsdk.LCharacter()
mixer.setVideoFormat(quolsdk.videoFormatProps(mode=4))  # 1280x720 at 50
for name, path in zip(("back", "front"), sys.argv[1:]):
    clip = quolsdk.LFile()
    clip.fileNameSet(path)
    mixer.addLayer(name, clip, width=1280, height=720)
    clip.play() or sys.exit(f"cannot play {path}")
mixer.addLayer("front", clip, 1, 860, 50, 255, 370, 208, 0, 0, 0, 0, 4, "#FFFFFF", False, 100)
title.addItem("bar", 120, 820, 1100, 140, quolsdk.LCGRectProps(bgType="Color", bgColor="#103060"))
title.addItem("text", 150, 820, 1040, 140, quolsdk.LCGTextProps(text="Live", fontSize=80))
mixer.addLayer("title", title, 2, width=1280, height=720)
time.sleep(1)
mixer.addPullConsumer()
while not (picture := mixer.renderVideoFrame()):  # None when it takes too long
    pass
picture.writePng(sys.argv[3])
