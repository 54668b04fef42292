/* The packet queue of a job for several printers (monitor/jobs/packet_queue.*, target_worker.*
 * and multi_target_job.*), as small as it can be while every interleaving still shows.
 *
 * Stated and checked:
 *   - no packet is looked at, by a worker or by the writer, after it has been freed;
 *   - every packet is freed exactly once, and none is left when the job has ended;
 *   - a healthy worker sends every packet in order;
 *   - no worker is stuck at the job's end: under fair scheduling the job always ends.
 *
 * A pulse reaches only the workers that wait at that moment. Worker 0 is healthy; every other one
 * may end before it begins, end midway, or go all the way. LOSSY_PULSE also loses pulses that
 * somebody was waiting for, any finite number of them.
 *
 * PROMPT is the order of prompt jobs: a worker looks for the first packet before it waits.
 *
 * The mutants are the mistakes that the checks must find (tools/check-queue-model runs them):
 *   EARLY_DECREMENT  the worker counts itself out of a packet before it has moved on
 *   SINGLE_PULSE     the job's end pulses once and then waits for ever
 *   NO_WALK_PAST     nobody counts for workers that are gone; only the bound on kept packets shows it
 *   WALK_FROM_HEAD   the writer walks on from the head, not from where the worker was
 */
#ifndef WORKERS
#define WORKERS 2
#endif
#ifndef PIECES
#define PIECES 2
#endif
#define PACKETS (PIECES + 1)   /* the last one is the end packet */
#define NONE 255

byte head = NONE;
byte next[PACKETS];
byte pending[PACKETS];
bool freed[PACKETS];
bool waiting[WORKERS];         /* on dataEvent */
bool gone[WORKERS];
byte position[WORKERS];        /* where a worker was when it ended */
bool threadEnded[WORKERS];
bool jobEnded = false;
byte lossesLeft = 2;

/* PulseEvent: all who wait, nobody else. */
inline pulse() {
    d_step {
        for (i : 0 .. WORKERS - 1) { waiting[i] = false }
    }
}

inline unreliablePulse() {
#ifdef LOSSY_PULSE
    if
    :: lossesLeft > 0 -> lossesLeft--
    :: pulse()
    fi
#else
    pulse()
#endif
}

inline waitForData() {
    waiting[me] = true;
    !waiting[me]
}

inline use(packet) { assert(packet != NONE && !freed[packet]) }

proctype Worker(byte me) {
    byte current = NONE;
    byte following = NONE;
    byte sent = 0;

    /* Connecting fails: the worker ends before it begins. */
    if
    :: me > 0 -> goto end
    :: skip
    fi;

    do
#ifdef PROMPT
    :: current = head;
       if
       :: current != NONE -> break
       :: else -> waitForData()
       fi
#else
    :: waitForData();
       current = head;
       if
       :: current != NONE -> break
       :: else
       fi
#endif
    od;
    use(current); assert(current == 0); sent = 1;
    do
    :: current == PACKETS - 1 -> break
    :: else ->
       if
       :: me > 0 -> goto end     /* fails midway */
       :: skip
       fi;
       use(current); following = next[current];
       if
       :: following == NONE -> waitForData()
       :: else ->
          use(following); assert(following == sent); sent++;
#ifdef EARLY_DECREMENT
          d_step { assert(pending[current] > 0); pending[current]-- };
          use(current); current = next[current]
#else
          /* consumedEvent is set here; only the writer waits on it, and it sets it itself. */
          use(current);
          d_step { assert(pending[current] > 0); pending[current]-- };
          current = following
#endif
       fi
    od;
    assert(me > 0 || sent == PACKETS);
end:
    position[me] = current;
    gone[me] = true;
    threadEnded[me] = true
}

inline freePacket(packet) {
    use(packet);
    freed[packet] = true
}

inline walkPastGone() {
    skip;
#ifndef NO_WALK_PAST
    for (w : 0 .. WORKERS - 1) {
        if
        :: gone[w] && !walkedPast[w] ->
           walkedPast[w] = true; walkedPastCount++;
#ifdef WALK_FROM_HEAD
           p = head;
#else
           p = (position[w] != NONE -> position[w] : head);
#endif
           do
           :: p == NONE -> break
           :: else ->
              use(p);
              d_step { assert(pending[p] > 0); pending[p]-- };
              p = next[p]
           od
        :: else
        fi
    }
#endif
}

inline freeLeft() {
    do
    :: head != NONE ->
       if
       :: pending[head] == 0 ->
          p = head;
          head = next[p];
          if
          :: head == NONE -> tail = NONE
          :: else
          fi;
          freePacket(p)
       :: else -> break
       fi
    :: else -> break
    od
}

active proctype Writer() {
    byte i = 0;
    byte w = 0;
    byte p = NONE;
    byte tail = NONE;
    byte packet = 0;
    byte walkedPastCount = 0;
    byte kept = 0;
    bool walkedPast[WORKERS];
    bool allGone = false;

    d_step {
        for (i : 0 .. PACKETS - 1) { next[i] = NONE }
        for (i : 0 .. WORKERS - 1) { position[i] = NONE }
    };
    for (w : 0 .. WORKERS - 1) { run Worker(w) };

    do
    :: packet == PACKETS -> break
    :: else ->
       pending[packet] = WORKERS - walkedPastCount;
       if
       :: tail == NONE -> head = packet
       :: else -> use(tail); next[tail] = packet
       fi;
       tail = packet;
       unreliablePulse();
       d_step {
           /* Only what was gone before this write can be asked of it. */
           allGone = true;
           for (i : 1 .. WORKERS - 1) {
               if
               :: !gone[i] -> allGone = false
               :: else
               fi
           }
       };
       walkPastGone();
       freeLeft();
       /* With all others gone, only what worker 0 has not left yet may be kept. */
       assert(!allGone || head == NONE || pending[head] <= 1);
       packet++
    od;

    for (w : 0 .. WORKERS - 1) {
#ifdef SINGLE_PULSE
        unreliablePulse();
        threadEnded[w]
#else
        do
        :: threadEnded[w] -> break
        :: else -> unreliablePulse()      /* the wait timed out */
        od
#endif
    }
    do
    :: head == NONE -> break
    :: else -> p = head; head = next[p]; freePacket(p)
    od;
    for (i : 0 .. PACKETS - 1) { assert(freed[i]) };
    jobEnded = true
}

/* Apart from the other checks, since a claim switches off the search for stuck processes. */
#ifdef CHECK_END
ltl ends { <> jobEnded }
#endif
