// A recorder written with java.nio; see plainRecorder.cpp for what it prints.
//
// usage: java NioRecorder.java LATE_MS BACKLOG EXPECTED

import java.io.IOException;
import java.net.InetSocketAddress;
import java.nio.ByteBuffer;
import java.nio.channels.SelectionKey;
import java.nio.channels.Selector;
import java.nio.channels.ServerSocketChannel;
import java.nio.channels.SocketChannel;
import java.util.Iterator;
import java.util.TreeMap;

public class NioRecorder {
    private static final long PATIENCE = 5000;  // milliseconds

    public static void main(String[] arguments) throws Exception {
        long late = Long.parseLong(arguments[0]);
        int backlog = Integer.parseInt(arguments[1]);
        long expected = Long.parseLong(arguments[2]);
        TreeMap<Long, Long> ended = new TreeMap<>();
        long errors = 0;
        ByteBuffer buffer = ByteBuffer.allocateDirect(1 << 20);

        Selector selector = Selector.open();
        ServerSocketChannel listener = ServerSocketChannel.open();
        listener.bind(new InetSocketAddress("127.0.0.1", 0), backlog);
        listener.configureBlocking(false);
        listener.register(selector, SelectionKey.OP_ACCEPT);
        System.out.println(((InetSocketAddress) listener.getLocalAddress()).getPort());

        for (long count = 0; count < expected && selector.select(PATIENCE) > 0;) {
            for (Iterator<SelectionKey> keys = selector.selectedKeys().iterator(); keys.hasNext();) {
                SelectionKey key = keys.next();
                keys.remove();
                if (key.isAcceptable()) {
                    SocketChannel accepted = listener.accept();
                    if (accepted == null) continue;
                    Thread.sleep(late);
                    accepted.configureBlocking(false);
                    accepted.register(selector, SelectionKey.OP_READ, new long[1]);
                } else if (key.isReadable()) {
                    long[] length = (long[]) key.attachment();
                    int part;
                    try {
                        buffer.clear();
                        part = ((SocketChannel) key.channel()).read(buffer);
                    } catch (IOException failure) {
                        ++errors;
                        part = -1;
                    }
                    if (part >= 0) {
                        length[0] += part;
                        continue;
                    }
                    key.channel().close();
                    ended.merge(length[0], 1L, Long::sum);
                    ++count;
                }
            }
        }
        ended.forEach((length, streams) -> System.out.println(length + " " + streams));
        System.out.println("errors " + errors);
    }
}
